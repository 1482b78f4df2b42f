#include "bench/scale/DecodeOnce.h"

#include "bench/scale/Process.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

void DecodeOnce(const LiveClip& clip, size_t frames) {
  AVCodecContext* codec = avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_H264));
  codec->thread_count = 1;
  codec->flags |= AV_CODEC_FLAG_LOW_DELAY;
  Require(avcodec_open2(codec, nullptr, nullptr) == 0, "libavcodec does not open a decoder");
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  for (size_t i = 0; i < frames; ++i) {
    const AccessUnit& unit = clip.units[i];
    Require(av_new_packet(packet, static_cast<int>(unit.size())) == 0, "no memory for a packet");
    std::memcpy(packet->data, unit.data(), unit.size());
    const bool decoded = avcodec_send_packet(codec, packet) == 0 && avcodec_receive_frame(codec, frame) == 0;
    Require(decoded, "libavcodec does not decode a frame");
    av_packet_unref(packet);
  }
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&codec);
}
