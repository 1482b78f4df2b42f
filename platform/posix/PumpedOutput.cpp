// Runs a sound pump on a thread of its own.
#include "platform/posix/PumpedOutput.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace platform {
namespace {

constexpr unsigned kStackBytes = 512 * 1024;

}  // namespace

PumpedOutput::PumpedOutput(const SoundLoop& loop, std::unique_ptr<PcmOpener> opener)
    : m_pOpener(std::move(opener)), m_Pump(loop, *m_pOpener) {}

PumpedOutput::~PumpedOutput() {
  Stop();
}

HRESULT PumpedOutput::Start(uint32_t position) {
  m_nStopEvent = eventfd(0, EFD_CLOEXEC);
  if (m_nStopEvent < 0) return DSERR_GENERIC;
  m_Pump.Begin(position);
  unsigned threadId = 0;
  m_hThread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, kStackBytes, ThreadMain, this, 0, &threadId));
  if (m_hThread != nullptr) return DS_OK;
  close(std::exchange(m_nStopEvent, -1));
  return DSERR_OUTOFMEMORY;
}

void PumpedOutput::Stop() {
  if (m_hThread == nullptr) return;
  eventfd_write(m_nStopEvent, 1);
  WaitForSingleObject(m_hThread, INFINITE);
  CloseHandle(std::exchange(m_hThread, nullptr));
  close(std::exchange(m_nStopEvent, -1));
}

unsigned __stdcall PumpedOutput::ThreadMain(void* self) {
  static_cast<PumpedOutput*>(self)->Run();
  return 0;
}

void PumpedOutput::Run() {
  pollfd stop{m_nStopEvent, POLLIN, 0};
  do {
    m_Pump.Pass();
    // 0: it is time for the next pass; negative: a debugger or profiler interrupted the rest.
  } while (poll(&stop, 1, static_cast<int>(m_Pump.RestMs())) <= 0);
  m_Pump.End();
}

}  // namespace platform
