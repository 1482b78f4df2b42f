#include "tools/qxrec/VideoCopier.h"

bool VideoCopier::Send(AVPacket* packet, const Sink& sink) {
  m_pFilter->Send(packet);
  while (true) {
    VideoUnit unit;
    int64_t dts = 0;
    if (m_pFilter->Receive(unit.bytes, unit.bKey, dts) != AnnexBFilter::Result::kUnit) return true;
    const int64_t timeUs = m_Clock.Next(dts);
    m_bBegun = m_bBegun || unit.bKey;
    if (!m_bBegun) {
      ++m_Lost.beforeKeyFrame;
      continue;
    }
    unit.nPlace = m_TimeLine.Place(timeUs);
    if (!sink(std::move(unit))) return false;
  }
}
