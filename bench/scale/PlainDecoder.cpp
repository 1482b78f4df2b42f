#include "bench/scale/PlainDecoder.h"

#include "bench/scale/Process.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

PlainDecoder::PlainDecoder()
    : m_pCodec(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264))),
      m_pPacket(av_packet_alloc()),
      m_pFrame(av_frame_alloc()) {
  m_pCodec->thread_count = 1;
  m_pCodec->flags |= AV_CODEC_FLAG_LOW_DELAY;
  Require(avcodec_open2(m_pCodec, nullptr, nullptr) == 0, "libavcodec does not open a decoder");
}

PlainDecoder::~PlainDecoder() {
  av_frame_free(&m_pFrame);
  av_packet_free(&m_pPacket);
  avcodec_free_context(&m_pCodec);
}

void PlainDecoder::Decode(const AccessUnit& unit) {
  Require(av_new_packet(m_pPacket, static_cast<int>(unit.size())) == 0, "no memory for a packet");
  std::memcpy(m_pPacket->data, unit.data(), unit.size());
  const bool decoded =
      avcodec_send_packet(m_pCodec, m_pPacket) == 0 && avcodec_receive_frame(m_pCodec, m_pFrame) == 0;
  Require(decoded, "libavcodec does not decode a frame");
  av_packet_unref(m_pPacket);
}

void DecodeOnce(const LiveClip& clip, size_t frames) {
  PlainDecoder decoder;
  for (size_t i = 0; i < frames; ++i)
    decoder.Decode(clip.units[i]);
}
