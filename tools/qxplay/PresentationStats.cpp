#include "tools/qxplay/PresentationStats.h"

#include <utility>

void PresentationStats::OnPushing(Time now) {
  constexpr size_t kMostQueued = 200;  // video frames in a player's queue; what lies before was never shown
  const MutexLock lock(m_Mutex);
  ++m_nPushed;
  m_Pushed.push_back(now);
  if (m_Pushed.size() > kMostQueued) m_Pushed.pop_front();
}

void PresentationStats::OnRefused() {
  const MutexLock lock(m_Mutex);
  --m_nPushed;
  ++m_nRefused;
  if (!m_Pushed.empty()) m_Pushed.pop_back();
}

void PresentationStats::OnPresented(Time now) {
  const MutexLock lock(m_Mutex);
  ++m_nPresented;
  m_LastPresented = now;
  if (m_Pushed.empty()) return;
  m_Latencies.push_back(std::chrono::duration<double, std::milli>(now - m_Pushed.front()).count());
  m_Pushed.pop_front();
}

void PresentationStats::OnUnseen() {
  const MutexLock lock(m_Mutex);
  if (!m_Pushed.empty()) m_Pushed.pop_front();
}

PresentationStats::Totals PresentationStats::GetTotals() const {
  const MutexLock lock(m_Mutex);
  return {.pushed = m_nPushed,
          .refused = m_nRefused,
          .presented = m_nPresented,
          .queued = m_Pushed.size(),
          .lastPresented = m_LastPresented};
}

std::vector<double> PresentationStats::TakeLatencies() {
  const MutexLock lock(m_Mutex);
  return std::exchange(m_Latencies, {});
}
