#include "tools/qxrec/PictureConverter.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include "codecs/av/PixelFormat.h"

namespace {

bool FitsBut(int odd, int wanted) {
  return odd == wanted || odd == wanted + 1;
}

}  // namespace

void PictureConverter::ScalerFree::operator()(SwsContext* scaler) const {
  sws_freeContext(scaler);
}

AVFrame* PictureConverter::Convert(AVFrame& picture, int width, int height) {
  const auto given = static_cast<AVPixelFormat>(picture.format);
  const AVPixelFormat format = WithoutRange(given);
  const bool isFullRange = picture.color_range == AVCOL_RANGE_JPEG || format != given;
  const bool fits = FitsBut(picture.width, width) && FitsBut(picture.height, height);
  if (format == AV_PIX_FMT_YUV420P && !isFullRange && fits) {
    picture.width = width;
    picture.height = height;
    return &picture;
  }
  if (!m_pConverted || sws_isSupportedInput(format) <= 0) return nullptr;
  AVFrame& to = *m_pConverted;
  av_frame_unref(&to);  // the encoder may still hold the last one
  to.format = AV_PIX_FMT_YUV420P;
  to.width = width;
  to.height = height;
  if (av_frame_get_buffer(&to, 0) < 0) return nullptr;
  const int fromWidth = fits ? width : picture.width, fromHeight = fits ? height : picture.height;
  m_pScaler.reset(sws_getCachedContext(m_pScaler.release(), fromWidth, fromHeight, format, width, height,
                                       AV_PIX_FMT_YUV420P, SWS_BICUBIC, nullptr, nullptr, nullptr));
  if (!m_pScaler) return nullptr;
  const int* const usual = sws_getCoefficients(SWS_CS_DEFAULT);
  constexpr int kUnchanged = 1 << 16;  // contrast and saturation
  sws_setColorspaceDetails(m_pScaler.get(), usual, isFullRange, usual, 0, 0, kUnchanged, kUnchanged);
  const int rows =
      sws_scale(m_pScaler.get(), picture.data, picture.linesize, 0, fromHeight, to.data, to.linesize);
  return rows > 0 ? &to : nullptr;
}
