// Video of any codec that goes into a recording as H.264 or as the older codec: decoded, brought to the
// recording's frame rate, encoded anew.
#pragma once

extern "C" {
#include <libavformat/avformat.h>
}

#include <memory>

#include "codecs/av/AvOwners.h"
#include "tools/common/AccessUnitFormatter.h"
#include "tools/qxrec/InputClock.h"
#include "tools/qxrec/PictureConverter.h"
#include "tools/qxrec/TimeLine.h"
#include "tools/qxrec/VideoTrack.h"

class VideoTranscoder : public VideoTrack {
 public:
  enum class Target { kH264, kOlderCodec };

  // inputRate: frames per second, 0 when unknown. timeLine: borrowed; outlives this object. Null when the
  // stream cannot be decoded, or its pictures not be encoded: `error` says why.
  static std::unique_ptr<VideoTranscoder> Create(const AVStream& stream, double inputRate, Target target,
                                                 TimeLine& timeLine, std::string& error);

  bool Send(AVPacket* packet, const Sink& sink) override;
  // Of the pictures in the recording, pixels: even, so the input's last row or column may be cut.
  uint32_t Width() const { return static_cast<uint32_t>(m_pEncoder->width); }
  uint32_t Height() const { return static_cast<uint32_t>(m_pEncoder->height); }

 private:
  VideoTranscoder(const InputClock& clock, TimeLine& timeLine) : m_Clock(clock), m_TimeLine(timeLine) {}
  bool OpenDecoder(const AVStream& stream, std::string& error);
  bool OpenEncoder(Target target, double inputRate, std::string& error);
  bool EncodePictures(const Sink& sink);
  bool Encode(const AVFrame* picture, const Sink& sink);

  InputClock m_Clock;
  TimeLine& m_TimeLine;
  AvContext m_pDecoder;
  AvContext m_pEncoder;
  AvFrame m_pPicture{av_frame_alloc()};
  AvPacket m_pPacket{av_packet_alloc()};
  PictureConverter m_Converter;
  std::unique_ptr<AccessUnitFormatter> m_pFormatter;  // H.264 only
};
