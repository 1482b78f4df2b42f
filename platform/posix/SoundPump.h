// Moves the sound of a loop to a PCM device, one pass at a time, and tells what is being heard: little
// before what the device was given last.
//
// A device that is missing, fails under way or takes nothing for a second is replaced by silence at the true
// rate, so that whoever feeds the loop goes on as before, and is looked for again every second.
#pragma once

#include <memory>

#include "platform/posix/PcmDevice.h"
#include "platform/posix/SoundOutput.h"

namespace platform {

class SoundPump {
 public:
  // Both are borrowed.
  SoundPump(const SoundLoop& loop, PcmOpener& opener) : m_Loop(loop), m_Opener(opener) {}

  // Before the first pass, and again after End. `position` is a byte offset in the loop.
  void Begin(uint32_t position) EXCLUDES(m_Mutex);

  // The pump's thread. Pass does what is due; it waits for nothing but, at times, the opening of the device.
  void Pass() EXCLUDES(m_Mutex);
  // How long the thread may rest until the next pass.
  uint32_t RestMs() const;
  void End() { m_pPcm.reset(); }

  // Any thread.
  SoundOutput::Cursors Position() EXCLUDES(m_Mutex);
  void Seek(uint32_t position) EXCLUDES(m_Mutex);
  bool TakeLoss() EXCLUDES(m_Mutex);

 private:
  bool Open(int64_t now);
  void ConsumeInSilence(int64_t now) EXCLUDES(m_Mutex);
  bool Refill(int64_t now) EXCLUDES(m_Mutex);
  void Lose(int64_t now) EXCLUDES(m_Mutex);
  uint64_t HeardFrames(int64_t now) REQUIRES(m_Mutex);

  const SoundLoop& m_Loop;
  PcmOpener& m_Opener;

  // The pump's thread only. Times in 100 ns, counts in frames.
  std::unique_ptr<PcmDevice> m_pPcm;
  int64_t m_llNextOpen = 0;
  int64_t m_llPaceStart = 0;  // when the device was opened or, without one, when silence began
  uint64_t m_nPaced = 0;      // consumed since
  int64_t m_llLastTaken = 0;  // when the device last took frames, or there were none for it

  Mutex m_Mutex;
  // Frames counted on through all rounds of the loop; m_nHeard never goes back, or a full loop would look
  // like an empty one.
  uint64_t m_nTaken GUARDED_BY(m_Mutex) = 0;
  uint64_t m_nHeard GUARDED_BY(m_Mutex) = 0;
  uint32_t m_nUnheard GUARDED_BY(m_Mutex) = 0;  // m_nTaken - m_nHeard at m_llUnheardTime; at most 10 ms
  int64_t m_llUnheardTime GUARDED_BY(m_Mutex) = 0;
  bool m_bLost GUARDED_BY(m_Mutex) = false;
};

}  // namespace platform
