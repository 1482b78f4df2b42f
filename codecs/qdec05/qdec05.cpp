// QDEC05 on libavcodec: H.264 behind the plain functions, H.265 behind the Ex functions.
#include "qdec05.h"

#include <new>

#include "codecs/av/VideoCodec.h"

namespace {

struct Decoder05 {
  std::unique_ptr<VideoCodec> pCodec;
  QXD05_Picture picture = {};
};

QXD05_Handle Open(AVCodecID codecId) {
  std::unique_ptr<Decoder05> decoder(new (std::nothrow) Decoder05);
  if (decoder == nullptr) return nullptr;
  decoder->pCodec = VideoCodec::Create(codecId);
  return decoder->pCodec != nullptr ? decoder.release() : nullptr;
}

int32_t DecodeOne(QXD05_Handle handle, const QXD05_Input* input, const QXD05_Picture** output,
                  const uint32_t* heldBack) {
  if (handle == nullptr || input == nullptr || output == nullptr) return -1;
  Decoder05& decoder = *static_cast<Decoder05*>(handle);
  VideoPlanes planes;
  const bool drain = heldBack != nullptr && *heldBack != 0;
  const VideoCodec::Result result =
      drain ? decoder.pCodec->Drain(planes) : decoder.pCodec->Decode(input->pData, input->dwLength, planes);
  if (result == VideoCodec::Result::kFailed) return -1;
  decoder.picture = {planes.nWidth,     planes.nHeight,    planes.nStride[0],
                     planes.nStride[1], planes.nStride[2], planes.pPlane[0],
                     planes.pPlane[1],  planes.pPlane[2],  result == VideoCodec::Result::kPicture ? 1u : 0u};
  *output = &decoder.picture;
  return 1;
}

}  // namespace

int32_t QXD_CALL QXD05_InitSDK(void) {
  return avcodec_find_decoder(AV_CODEC_ID_H264) != nullptr &&
                 avcodec_find_decoder(AV_CODEC_ID_HEVC) != nullptr
             ? 1
             : 0;
}

void QXD_CALL QXD05_ReleaseSDK(void) {}

QXD05_Handle QXD_CALL QXD05_DecodeOpen(void) {
  return Open(AV_CODEC_ID_H264);
}

QXD05_Handle QXD_CALL QXD05_DecodeOpenEx(int32_t codec) {
  return codec == 1 ? Open(AV_CODEC_ID_HEVC) : nullptr;
}

int32_t QXD_CALL QXD05_DecodeOneFrame(QXD05_Handle decoder, const QXD05_Input* pInput,
                                      const QXD05_Picture** ppPicture, uint32_t* pHeldBack) {
  return DecodeOne(decoder, pInput, ppPicture, pHeldBack);
}

int32_t QXD_CALL QXD05_DecodeOneFrameEx(QXD05_Handle decoder, const QXD05_Input* pInput,
                                        const QXD05_Picture** ppPicture, uint32_t* pHeldBack) {
  return DecodeOne(decoder, pInput, ppPicture, pHeldBack);
}

void QXD_CALL QXD05_DecodeClose(QXD05_Handle decoder) {
  delete static_cast<Decoder05*>(decoder);
}

void QXD_CALL QXD05_DecodeCloseEx(QXD05_Handle decoder) {
  delete static_cast<Decoder05*>(decoder);
}
