// Decoded pictures of any kind as an encoder takes them: 8-bit 4:2:0, limited range, one size.
#pragma once

#include <memory>

#include "codecs/av/AvOwners.h"

struct SwsContext;

// No locks; one thread.
class PictureConverter {
 public:
  // The picture itself when it fits but for a last odd row or column, which is cut, else a converted one that
  // is valid until the next call. Null when that is impossible.
  AVFrame* Convert(AVFrame& picture, int width, int height);

 private:
  struct ScalerFree {
    void operator()(SwsContext* scaler) const;
  };

  AvFrame m_pConverted{av_frame_alloc()};
  std::unique_ptr<SwsContext, ScalerFree> m_pScaler;
};
