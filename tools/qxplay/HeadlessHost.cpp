#include "tools/qxplay/HeadlessHost.h"

namespace {

class HeadlessSubWindow : public SubWindow {
 public:
  void* Handle() const override { return const_cast<HeadlessSubWindow*>(this); }
  void Place(const Area&) override {}
};

}  // namespace

std::unique_ptr<SubWindow> HeadlessHost::MakeSubWindow() {
  return std::make_unique<HeadlessSubWindow>();
}

HostEvents HeadlessHost::Wait(std::chrono::milliseconds timeout) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  HostEvents events;
  {
    const MutexLock lock(m_Mutex);
    while (!m_bWoken && !m_bQuit) {
      if (m_Changed.wait_until(m_Mutex, end) == std::cv_status::timeout) break;
    }
    m_bWoken = false;
    events.quit = m_bQuit;
  }
  events.keys = TakePostedKeys();
  return events;
}

void HeadlessHost::Wake() {
  const MutexLock lock(m_Mutex);
  m_bWoken = true;
  m_Changed.notify_all();
}

void HeadlessHost::RequestQuit() {
  const MutexLock lock(m_Mutex);
  m_bQuit = true;
  m_Changed.notify_all();
}
