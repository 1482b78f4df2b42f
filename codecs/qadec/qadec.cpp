// QADEC on libavcodec.
#include "qadec.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "codecs/av/AudioCodec.h"

namespace {

struct SoundDecoder {
  int32_t nKind = 0;
  std::unique_ptr<AudioCodec> pCodec;
};

// AMR and the two companding laws are telephone sound: one channel at this rate. AAC with headers may have
// any; this is what it is turned into until the raw mode says otherwise.
constexpr int kDefaultChannels = 1;
constexpr int kDefaultRate = 8000;
// More need a description of their own in the stream.
constexpr uint32_t kMaxChannels = 6;
constexpr int32_t kAacLowComplexity = 2;
// 10 s of AMR: a damaged block may claim a frame in every byte, and would hold up the caller for seconds.
constexpr int kMaxFramesPerCall = 500;

AVCodecID CodecOf(int32_t kind) {
  switch (kind) {
    case QAD_AMR:
      return AV_CODEC_ID_AMR_NB;
    case QAD_ALAW:
      return AV_CODEC_ID_PCM_ALAW;
    case QAD_MULAW:
      return AV_CODEC_ID_PCM_MULAW;
    case QAD_AAC:
      return AV_CODEC_ID_AAC;
    default:
      return AV_CODEC_ID_NONE;
  }
}

// The rates of ISO/IEC 14496-3, by their index; others have no frames of AAC LC.
constexpr uint32_t kAacRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                  22050, 16000, 12000, 11025, 8000,  7350};

// Bytes of the frame at `data`: several frames of AMR may come in one block, each with a header byte whose
// bits 3 to 6 are its type.
uint32_t FrameBytes(int32_t kind, const uint8_t* data, uint32_t available) {
  // RFC 4867, header byte included: eight rates, comfort noise, unused types, no data.
  constexpr uint8_t kAmrBytes[16] = {13, 14, 16, 18, 20, 21, 27, 32, 6, 1, 1, 1, 1, 1, 1, 1};
  if (kind != QAD_AMR) return available;
  return std::min<uint32_t>(kAmrBytes[data[0] >> 3 & 0xF], available);
}

}  // namespace

QAD_Handle QXD_CALL QAD_DecodeOpenEx(int32_t kind) {
  const AVCodecID codec = CodecOf(kind);
  if (codec == AV_CODEC_ID_NONE) return nullptr;
  std::unique_ptr<SoundDecoder> decoder(new (std::nothrow) SoundDecoder);
  if (decoder == nullptr) return nullptr;
  decoder->nKind = kind;
  decoder->pCodec = AudioCodec::Create(codec, kDefaultChannels, kDefaultRate);
  return decoder->pCodec != nullptr ? decoder.release() : nullptr;
}

int32_t QXD_CALL QAD_AACSetRawMode(QAD_Handle decoder, int32_t objectType, uint32_t channels,
                                   uint32_t sampleRate) {
  if (decoder == nullptr || objectType != kAacLowComplexity) return -1;
  SoundDecoder& sound = *static_cast<SoundDecoder*>(decoder);
  const auto rate = std::find(std::begin(kAacRates), std::end(kAacRates), sampleRate);
  if (sound.nKind != QAD_AAC || channels == 0 || channels > kMaxChannels || rate == std::end(kAacRates))
    return -1;
  // AudioSpecificConfig: 5 bits object type, 4 bits rate index, 4 bits channels, 3 zero bits.
  const auto config = static_cast<uint32_t>(objectType << 11 | (rate - kAacRates) << 7 | channels << 3);
  const uint8_t header[] = {static_cast<uint8_t>(config >> 8), static_cast<uint8_t>(config)};
  std::unique_ptr<AudioCodec> codec = AudioCodec::Create(AV_CODEC_ID_AAC, static_cast<int>(channels),
                                                         static_cast<int>(sampleRate), header, sizeof header);
  if (codec == nullptr) return -1;
  sound.pCodec = std::move(codec);
  return 0;
}

int32_t QXD_CALL QAD_DecodeOneFrameEx(QAD_Handle decoder, const uint8_t* pData, uint32_t dwSize,
                                      uint8_t** ppPCM) {
  if (decoder == nullptr || ppPCM == nullptr) return -1;
  SoundDecoder& sound = *static_cast<SoundDecoder*>(decoder);
  AudioCodec& codec = *sound.pCodec;
  codec.Clear();
  uint32_t at = 0;
  for (int frame = 0; pData != nullptr && at < dwSize && frame < kMaxFramesPerCall; ++frame) {
    const uint32_t bytes = FrameBytes(sound.nKind, pData + at, dwSize - at);
    if (!codec.Decode(pData + at, bytes)) break;
    at += bytes;
  }
  if (codec.Size() != 0) *ppPCM = codec.Data();
  return static_cast<int32_t>(codec.Size());
}

void QXD_CALL QAD_DecodeCloseEx(QAD_Handle decoder) {
  delete static_cast<SoundDecoder*>(decoder);
}
