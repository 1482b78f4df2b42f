#include "codecs/av/PicturePool.h"

#include <algorithm>

#include "codecs/av/PixelFormat.h"

namespace {

// Larger pictures come from damaged headers only, and would take gigabytes.
constexpr int kMaxSide = 10000;

// Behind the last row: vector code reads and writes whole vectors, of 64 bytes at most.
constexpr size_t kPadding = 64 + 16;

int RoundUp(int value, int step) {
  return (value + step - 1) / step * step;
}

}  // namespace

void PicturePool::Attach(AVCodecContext& context) {
  context.opaque = this;
  context.get_buffer2 = GetBuffer;
}

// AVCodecContext::get_buffer2
int PicturePool::GetBuffer(AVCodecContext* context, AVFrame* frame, int flags) {
  if (frame->width > kMaxSide || frame->height > kMaxSide) return AVERROR(EINVAL);
  // Cameras do not send other formats.
  if (WithoutRange(static_cast<AVPixelFormat>(frame->format)) != AV_PIX_FMT_YUV420P)
    return avcodec_default_get_buffer2(context, frame, flags);
  return static_cast<PicturePool*>(context->opaque)->Lay(context, *frame);
}

// Lays the planes one behind the other, each aligned, with the room around the picture that the decoder asks
// for. Rows are no longer than that takes: whole rows are copied out of them.
int PicturePool::Lay(AVCodecContext* context, AVFrame& frame) {
  int width = frame.width;
  int height = frame.height;
  int alignment[AV_NUM_DATA_POINTERS];
  avcodec_align_dimensions2(context, &width, &height, alignment);
  const int luma = RoundUp(width, alignment[0]);
  const int chroma = RoundUp((width + 1) / 2, std::max(alignment[1], alignment[2]));
  const size_t lumaBytes = static_cast<size_t>(luma) * static_cast<size_t>(height);
  const size_t chromaBytes = static_cast<size_t>(chroma) * static_cast<size_t>((height + 1) / 2);

  frame.buf[0] = Take(lumaBytes + 2 * chromaBytes + kPadding);
  if (frame.buf[0] == nullptr) return AVERROR(ENOMEM);
  frame.data[0] = frame.buf[0]->data;
  frame.data[1] = frame.data[0] + lumaBytes;
  frame.data[2] = frame.data[1] + chromaBytes;
  frame.linesize[0] = luma;
  frame.linesize[1] = frame.linesize[2] = chroma;
  frame.extended_data = frame.data;
  return 0;
}

// Null when memory is exhausted.
AVBufferRef* PicturePool::Take(size_t bytes) {
  if (bytes != m_nBytes) {
    Release();
    m_nBytes = bytes;
  }
  // Cleared when they are new, so that damage shows no foreign memory.
  if (m_pPool == nullptr) m_pPool = av_buffer_pool_init(bytes, av_buffer_allocz);
  return m_pPool != nullptr ? av_buffer_pool_get(m_pPool) : nullptr;
}
