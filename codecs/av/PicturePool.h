// Memory for the pictures of one video decoder.
#pragma once

#include <cstddef>

#include "codecs/av/AvOwners.h"

// One buffer for all planes of a picture. libavcodec's own has one for each, and several times a frame it
// allocates references to all of them: 512 streams of small pictures take 3 % more processor time that way.
// No lock: used by the decoder's calls.
class PicturePool {
 public:
  PicturePool() = default;
  ~PicturePool() { Release(); }  // pictures in use keep their memory
  PicturePool(const PicturePool&) = delete;
  PicturePool& operator=(const PicturePool&) = delete;

  // Serves the context's pictures from here. The context must be freed before this object.
  void Attach(AVCodecContext& context);

 private:
  static int GetBuffer(AVCodecContext* context, AVFrame* frame, int flags);
  int Lay(AVCodecContext* context, AVFrame& frame);
  AVBufferRef* Take(size_t bytes);
  void Release() { av_buffer_pool_uninit(&m_pPool); }

  AVBufferPool* m_pPool = nullptr;  // null before the first picture
  size_t m_nBytes = 0;              // of each of its buffers
};
