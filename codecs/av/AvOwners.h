// Owning pointers for libavcodec's objects.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <memory>

struct AvFree {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using AvContext = std::unique_ptr<AVCodecContext, AvFree>;
using AvFrame = std::unique_ptr<AVFrame, AvFree>;
using AvPacket = std::unique_ptr<AVPacket, AvFree>;
