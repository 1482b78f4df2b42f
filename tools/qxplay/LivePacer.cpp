#include "tools/qxplay/LivePacer.h"

LivePacer::Time LivePacer::DueTime(int64_t timestampMs, Time now) {
  const std::chrono::milliseconds offset(timestampMs);
  const bool fellBehind = m_Start && *m_Start + offset + kMostBehind < now;
  if (!m_Start || fellBehind) m_Start = now - offset;
  return *m_Start + offset;
}
