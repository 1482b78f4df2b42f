// H.264 that goes into a recording as it is.
#pragma once

#include <memory>

#include "tools/common/AnnexBFilter.h"
#include "tools/qxrec/InputClock.h"
#include "tools/qxrec/TimeLine.h"
#include "tools/qxrec/VideoTrack.h"

// Frames keep the order in which they are decoded, and take the place of that time.
class VideoCopier : public VideoTrack {
 public:
  // timeLine: borrowed; outlives this object.
  VideoCopier(std::unique_ptr<AnnexBFilter> filter, const InputClock& clock, TimeLine& timeLine)
      : m_pFilter(std::move(filter)), m_Clock(clock), m_TimeLine(timeLine) {}

  bool Send(AVPacket* packet, const Sink& sink) override;

 private:
  const std::unique_ptr<AnnexBFilter> m_pFilter;
  InputClock m_Clock;
  TimeLine& m_TimeLine;
  bool m_bBegun = false;  // a key frame was there
};
