#include "decode/QDEC04Decoder.h"

#include <cstring>

#include "platform/CrashGuard.h"
#include "platform/Kernel.h"
#include "src/kitc/Log.h"
#include "video/PixelConversion.h"

namespace {

constexpr uint32_t kHeadBytes = 8;
constexpr uint32_t kMaxFrameType = 4;

uint32_t ReadLittleEndian32(const uint8_t* bytes) {
  return static_cast<uint32_t>(bytes[0]) | static_cast<uint32_t>(bytes[1]) << 8 |
         static_cast<uint32_t>(bytes[2]) << 16 | static_cast<uint32_t>(bytes[3]) << 24;
}

}  // namespace

QDEC04Decoder::~QDEC04Decoder() {
  if (m_pContext != nullptr) platform::RunGuarded([this] { QXD04_DecodeClose(m_pContext); });
}

bool QDEC04Decoder::Open(uint32_t width, uint32_t height, uint32_t /*framePeriodMs*/) {
  QXD04_OpenParameters parameters = {};
  parameters.nWidth = width;
  parameters.nHeight = height;
  if (!platform::RunGuarded([&] { m_pContext = QXD04_DecodeOpen(&parameters); })) m_pContext = nullptr;
  return m_pContext != nullptr;
}

bool QDEC04Decoder::DecodeFrameVideo(DecodedPicture& picture, const uint8_t* data, uint32_t size,
                                     uint32_t nPlayerID) {
  picture.bHasImage = false;
  if (data == nullptr || m_pContext == nullptr) return false;
  Outcome outcome = Outcome::kRefused;
  bool stored = true;
  const bool survived = platform::RunGuarded([&] {
    outcome = DecodeInLibrary(data, size);
    if (outcome != Outcome::kPicture) return;
    const QXD04_Context& context = *m_pContext;
    const LibraryPicture source = {context.nWidth,
                                   context.nHeight,
                                   {context.nLumaStride, context.nChromaStride, context.nChromaStride},
                                   {context.pLuma, context.pChroma1, context.pChroma2}};
    stored = m_Buffer.Store(source, picture);
  });
  if (!survived) {
    picture.bHasImage = false;
    // The planes that it announced may be what it crashed on.
    m_pContext->pLuma = nullptr;
    m_pContext->pChroma1 = nullptr;
    m_pContext->pChroma2 = nullptr;
    kitc_log(kLogError, "Decoder.cpp", __LINE__, "QXD04_DecodeOneFrame crash,decodeid:%d\n",
             static_cast<int>(nPlayerID));
    return false;
  }
  if (!stored) {
    // "buffer size" and "failed", in GBK
    kitc_log(kLogError, "Decoder.cpp", __LINE__,
             "decodeid:%d QDEC04Decoder::DecodeFrameVideo \xBB\xBA\xB4\xE6\xB4\xF3\xD0\xA1:%d "
             "realloc\xCA\xA7\xB0\xDC "
             "errot:%d\n",
             static_cast<int>(nPlayerID), static_cast<int>(m_Buffer.Size()),
             static_cast<int>(GetLastError()));
  }
  return outcome != Outcome::kRefused;
}

// Hands the payload to the library. Runs inside the crash guard.
QDEC04Decoder::Outcome QDEC04Decoder::DecodeInLibrary(const uint8_t* data, uint32_t size) {
  if (size < kHeadBytes) return Outcome::kRefused;
  QXD04_Context& context = *m_pContext;
  const uint32_t word = ReadLittleEndian32(data + 4);
  context.dwFrameType = word & 0xF;
  context.dwInputLength = word >> 4 & 0xFFFFF;
  if (context.dwFrameType > kMaxFrameType || context.dwInputLength == 0) return Outcome::kRefused;
  if (context.dwInputLength > context.dwInputCapacity || context.dwInputLength > size - kHeadBytes)
    return Outcome::kRefused;
  std::memcpy(context.pInput, data + kHeadBytes, context.dwInputLength);
  return QXD04_DecodeOneFrame(m_pContext) == 0 ? Outcome::kPicture : Outcome::kNoPicture;
}

bool QDEC04Decoder::GetImageRGB32(uint8_t* buffer, uint32_t bufferSize) {
  if (m_pContext == nullptr || buffer == nullptr) return false;
  const QXD04_Context& context = *m_pContext;
  if (static_cast<uint64_t>(context.nWidth) * context.nHeight > bufferSize / 4) return false;
  if (context.pLuma == nullptr || context.pChroma1 == nullptr || context.pChroma2 == nullptr) return false;
  PlanarToRGB32(buffer, static_cast<int32_t>(context.nWidth * 4), context.pLuma, context.pChroma1,
                context.pChroma2, static_cast<int32_t>(context.nLumaStride),
                static_cast<int32_t>(context.nChromaStride), static_cast<int32_t>(context.nWidth),
                static_cast<int32_t>(context.nHeight), true);
  return true;
}
