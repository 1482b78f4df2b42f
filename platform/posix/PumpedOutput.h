// Runs a sound pump on a thread of its own while the loop plays.
#pragma once

#include <memory>

#include "platform/posix/SoundPump.h"

namespace platform {

class PumpedOutput final : public SoundOutput {
 public:
  // The loop is borrowed.
  PumpedOutput(const SoundLoop& loop, std::unique_ptr<PcmOpener> opener);
  ~PumpedOutput() override;
  PumpedOutput(const PumpedOutput&) = delete;
  PumpedOutput& operator=(const PumpedOutput&) = delete;

  HRESULT Start(uint32_t position) override;
  void Stop() override;
  Cursors Position() override { return m_Pump.Position(); }
  void Seek(uint32_t position) override { m_Pump.Seek(position); }
  bool TakeLoss() override { return m_Pump.TakeLoss(); }

 private:
  static unsigned __stdcall ThreadMain(void* self);
  void Run();

  const std::unique_ptr<PcmOpener> m_pOpener;
  SoundPump m_Pump;
  HANDLE m_hThread = nullptr;  // while playing
  int m_nStopEvent = -1;       // an eventfd, readable once the thread is to end
};

}  // namespace platform
