#include "decode/QADDecoder.h"

#include "platform/CrashGuard.h"

namespace {

// The library's number for AAC LC.
constexpr int32_t kAacObjectType = 2;

}  // namespace

QADDecoder::~QADDecoder() {
  CloseLibrary();
}

bool QADDecoder::Open(uint32_t codecId, uint32_t channels, uint32_t sampleRate) {
  switch (codecId) {
    case kCodecAmr:
      OpenLibrary(QAD_AMR);
      break;
    case kCodecAlaw:
      OpenLibrary(QAD_ALAW);
      break;
    case kCodecMulaw:
      OpenLibrary(QAD_MULAW);
      break;
    case kCodecAac:
      OpenLibrary(QAD_AAC);
      break;
    default:
      return false;
  }
  m_nCodecId = codecId;
  if (codecId == kCodecAac && m_hDecoder != nullptr) {
    int32_t result = -1;
    platform::RunGuarded(
        [&] { result = QAD_AACSetRawMode(m_hDecoder, kAacObjectType, channels, sampleRate); });
    if (result < 0) CloseLibrary();
  }
  return m_hDecoder != nullptr;
}

bool QADDecoder::DecodeFrameAudio(DecodedSound& sound, const uint8_t* data, uint32_t size,
                                  uint32_t /*nPlayerID*/) {
  if (m_hDecoder == nullptr || data == nullptr) return false;
  uint8_t* pcm = nullptr;
  int32_t bytes = 0;
  if (!platform::RunGuarded([&] { bytes = QAD_DecodeOneFrameEx(m_hDecoder, data, size, &pcm); })) {
    // Nothing is known of its state any more.
    CloseLibrary();
    return false;
  }
  if (bytes <= 0) return false;
  sound = {pcm, static_cast<uint32_t>(bytes)};
  return true;
}

void QADDecoder::OpenLibrary(int32_t kind) {
  if (!platform::RunGuarded([&] { m_hDecoder = QAD_DecodeOpenEx(kind); })) m_hDecoder = nullptr;
}

void QADDecoder::CloseLibrary() {
  if (m_hDecoder != nullptr) platform::RunGuarded([this] { QAD_DecodeCloseEx(m_hDecoder); });
  m_hDecoder = nullptr;
}
