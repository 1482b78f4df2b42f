#include "decode/Decoder.h"

#include <new>

#include "decode/H264Decoder.h"
#include "decode/H265Decoder.h"
#include "decode/PCMDecoder.h"
#include "decode/QADDecoder.h"
#include "decode/QDEC04Decoder.h"
#include "src/kitc/ThrowingAllocator.h"

namespace {

template <typename Concrete>
std::shared_ptr<Decoder> OpenDecoder(uint32_t first, uint32_t second, uint32_t third) {
  try {
    const auto decoder = MakeShared<Concrete>();
    if (decoder->Open(first, second, third)) return decoder;
  } catch (const std::bad_alloc&) {
    // answered like a library that refuses
  }
  return nullptr;
}

std::shared_ptr<Decoder> CreateDecoder(uint32_t codecId, uint32_t first, uint32_t second, uint32_t third) {
  switch (codecId) {
    case kCodecQdec04:
      return OpenDecoder<QDEC04Decoder>(first, second, third);
    case kCodecH264:
      return OpenDecoder<H264Decoder>(first, second, third);
    case kCodecH265:
      return OpenDecoder<H265Decoder>(first, second, third);
    case kCodecPcm:
      return OpenDecoder<PCMDecoder>(first, second, third);
    case kCodecAmr:
    case kCodecAlaw:
    case kCodecMulaw:
    case kCodecAac:
      return OpenDecoder<QADDecoder>(codecId, second, third);
    default:
      return nullptr;
  }
}

}  // namespace

bool Decoder::InitSDK() {
  QXD04_InitSDK();  // streams of the older codec are rare enough to go without
  return QXD05_InitSDK() != 0;
}

void Decoder::ReleaseSDK() {
  QXD05_ReleaseSDK();
  QXD04_ReleaseSDK();
}

std::shared_ptr<Decoder> Decoder::CreateVideoDecoder(uint32_t codecId, uint32_t width, uint32_t height,
                                                     uint32_t framePeriodMs) {
  return CreateDecoder(codecId, width, height, framePeriodMs);
}

std::shared_ptr<Decoder> Decoder::CreateAudioDecoder(uint32_t codecId, uint32_t capacity, uint32_t channels,
                                                     uint32_t sampleRate) {
  return CreateDecoder(codecId, capacity, channels, sampleRate);
}

bool Decoder::DecodeFrameVideo(DecodedPicture& /*picture*/, const uint8_t* /*data*/, uint32_t /*size*/,
                               uint32_t /*nPlayerID*/) {
  return false;
}

bool Decoder::DecodeFrameAudio(DecodedSound& /*sound*/, const uint8_t* /*data*/, uint32_t /*size*/,
                               uint32_t /*nPlayerID*/) {
  return false;
}

bool Decoder::GetImageRGB32(uint8_t* /*buffer*/, uint32_t /*bufferSize*/) {
  return false;
}
