// The reference of a player: a decoder of libavcodec and nothing around it.
#pragma once

#include <cstddef>

#include "bench/LiveClip.h"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

// H.264 on the calling thread, low delay. Keeps the last picture, as a program that shows it does. Ends the
// program when something fails.
class PlainDecoder {
 public:
  PlainDecoder();
  ~PlainDecoder();
  PlainDecoder(const PlainDecoder&) = delete;
  PlainDecoder& operator=(const PlainDecoder&) = delete;

  void Decode(const AccessUnit& unit);

 private:
  AVCodecContext* m_pCodec;
  AVPacket* m_pPacket;
  AVFrame* m_pFrame;
};

// A whole life: opened, fed with the clip's first frames, closed.
void DecodeOnce(const LiveClip& clip, size_t frames);
