// What libavutil's pixel formats mean here.
#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

// The same layout without the mark for full-range samples: values pass unchanged whichever range they use.
inline AVPixelFormat WithoutRange(AVPixelFormat format) {
  switch (format) {
    case AV_PIX_FMT_YUVJ420P:
      return AV_PIX_FMT_YUV420P;
    case AV_PIX_FMT_YUVJ422P:
      return AV_PIX_FMT_YUV422P;
    case AV_PIX_FMT_YUVJ444P:
      return AV_PIX_FMT_YUV444P;
    case AV_PIX_FMT_YUVJ440P:
      return AV_PIX_FMT_YUV440P;
    case AV_PIX_FMT_YUVJ411P:
      return AV_PIX_FMT_YUV411P;
    default:
      return format;
  }
}
