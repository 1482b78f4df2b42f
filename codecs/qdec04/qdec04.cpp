// QDEC04 on libavcodec: a frame's payload is one access unit of MPEG-4 Part 2.
#include "qdec04.h"

#include <algorithm>
#include <new>
#include <utility>

#include "codecs/av/VideoCodec.h"

namespace {

// The frame's head has 20 bits for the length of the payload.
constexpr uint64_t kMaxInput = 0xFFFFF;
// A compressed picture of a tiny size may be larger than its pixels.
constexpr uint64_t kMinInput = 64 * 1024;

constexpr uint32_t kKeyFrame = 1;

// The context that the caller sees comes first: both have the same address.
struct Decoder04 {
  QXD04_Context context = {};
  std::unique_ptr<uint8_t[]> pInput;
  std::unique_ptr<VideoCodec> pCodec;
};

void Describe(QXD04_Context& context, const VideoPlanes& planes) {
  context.nWidth = planes.nWidth;
  context.nHeight = planes.nHeight;
  context.nLumaStride = planes.nStride[0];
  context.nChromaStride = planes.nStride[1];
  context.pLuma = planes.pPlane[0];
  context.pChroma1 = planes.pPlane[1];
  context.pChroma2 = planes.pPlane[2];
}

bool DecodeInput(Decoder04& decoder, VideoPlanes& planes) {
  const QXD04_Context& context = decoder.context;
  return context.dwInputLength <= context.dwInputCapacity &&
         decoder.pCodec->Decode(context.pInput, context.dwInputLength, planes) ==
             VideoCodec::Result::kPicture;
}

// libavcodec's decoder for MPEG-4 Part 2 may keep what a damaged header said for good.
bool Reopen(Decoder04& decoder) {
  std::unique_ptr<VideoCodec> codec = VideoCodec::Create(AV_CODEC_ID_MPEG4);
  if (codec == nullptr) return false;
  decoder.pCodec = std::move(codec);
  return true;
}

}  // namespace

int32_t QXD_CALL QXD04_InitSDK(void) {
  return avcodec_find_decoder(AV_CODEC_ID_MPEG4) != nullptr ? 1 : 0;
}

void QXD_CALL QXD04_ReleaseSDK(void) {}

QXD04_Context* QXD_CALL QXD04_DecodeOpen(const QXD04_OpenParameters* pParameters) {
  if (pParameters == nullptr) return nullptr;
  std::unique_ptr<Decoder04> decoder(new (std::nothrow) Decoder04);
  if (decoder == nullptr) return nullptr;
  QXD04_Context& context = decoder->context;
  context.nWidth = pParameters->nWidth;
  context.nHeight = pParameters->nHeight;
  const uint64_t pixels = static_cast<uint64_t>(context.nWidth) * context.nHeight;
  context.dwInputCapacity = static_cast<uint32_t>(std::clamp(pixels, kMinInput, kMaxInput));
  decoder->pInput.reset(new (std::nothrow) uint8_t[context.dwInputCapacity]);
  decoder->pCodec = VideoCodec::Create(AV_CODEC_ID_MPEG4);
  context.pInput = decoder->pInput.get();
  if (decoder->pInput == nullptr || decoder->pCodec == nullptr) return nullptr;
  return &decoder.release()->context;
}

int32_t QXD_CALL QXD04_DecodeOneFrame(QXD04_Context* pContext) {
  if (pContext == nullptr) return -1;
  Decoder04& decoder = *reinterpret_cast<Decoder04*>(pContext);
  VideoPlanes planes;
  if (DecodeInput(decoder, planes) ||
      (pContext->dwFrameType == kKeyFrame && Reopen(decoder) && DecodeInput(decoder, planes))) {
    Describe(*pContext, planes);
    return 0;
  }
  // The codec may have reused the memory of the picture before.
  pContext->pLuma = pContext->pChroma1 = pContext->pChroma2 = nullptr;
  return 1;
}

void QXD_CALL QXD04_DecodeClose(QXD04_Context* pContext) {
  delete reinterpret_cast<Decoder04*>(pContext);
}
