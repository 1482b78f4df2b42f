// Turns the packets of an H.264 or H.265 stream into access units with start codes, parameter sets in front
// of every key frame, whatever form the container holds them in.
#pragma once

extern "C" {
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
}

#include <memory>
#include <vector>

#include "codecs/av/AvOwners.h"
#include "tools/common/AccessUnitFormatter.h"

// One stream's filter; no locks, one thread.
class AnnexBFilter {
 public:
  // Null when the stream's parameter sets are damaged (or memory is exhausted): `averror` says which. Its
  // codec is H.264 or H.265.
  static std::unique_ptr<AnnexBFilter> Create(const AVStream& stream, int& averror);

  // Takes what the packet holds, null: the end of the stream. Receive what comes out before the next one.
  void Send(AVPacket* packet);

  enum class Result { kUnit, kWantsPacket, kEnd };
  // The next access unit: its bytes into `bytes`; a packet without any picture data comes to nothing. `dts`
  // is in the stream's time base, AV_NOPTS_VALUE when the container does not know it.
  Result Receive(std::vector<uint8_t>& bytes, bool& key, int64_t& dts);

 private:
  struct Free {
    void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
  };

  explicit AnnexBFilter(VideoCodec codec) : m_Formatter(codec) {}

  std::unique_ptr<AVBSFContext, Free> m_pFilter;
  AvPacket m_pPacket{av_packet_alloc()};
  AccessUnitFormatter m_Formatter;
};
