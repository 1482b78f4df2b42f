#include "decode/Decoder05.h"

#include "platform/CrashGuard.h"
#include "platform/Kernel.h"
#include "src/kitc/Log.h"
#include "video/PixelConversion.h"

Decoder05::~Decoder05() {
  CloseLibrary();
}

bool Decoder05::Open(uint32_t /*width*/, uint32_t /*height*/, uint32_t /*framePeriodMs*/) {
  OpenLibrary();
  return m_hDecoder != nullptr;
}

bool Decoder05::DecodeFrameVideo(DecodedPicture& picture, const uint8_t* data, uint32_t size,
                                 uint32_t nPlayerID) {
  picture.bHasImage = false;
  if (data == nullptr || size == 0 || m_hDecoder == nullptr) return false;

  const QXD05_Input input = {size, data};
  const QXD05_Picture* output = nullptr;
  uint32_t heldBack = 0;
  int32_t result = 0;
  bool present = false;
  bool stored = true;
  // The copy out of the library's memory is guarded, too: its planes and strides are only what it claims.
  const bool survived = platform::RunGuarded([&] {
    result = m_Library.Decode(m_hDecoder, &input, &output, &heldBack);
    present = result > 0 && output != nullptr && output->bPresent != 0;
    if (!present) return;
    const LibraryPicture source = {output->nWidth,
                                   output->nHeight,
                                   {output->nLumaStride, output->nChroma1Stride, output->nChroma2Stride},
                                   {output->pLuma, output->pChroma1, output->pChroma2}};
    stored = m_Buffer.Store(source, picture);
  });
  if (!survived) {
    picture.bHasImage = false;
    kitc_log(kLogError, "Decoder.cpp", __LINE__, "%s crash,decodeid:%d\n", m_Library.szDecodeFunction,
             static_cast<int>(nPlayerID));
    CloseLibrary();
    OpenLibrary();
    return false;
  }
  if (result <= 0) return false;
  if (!present) {
    ++m_nNoPicture;
    m_LastPicture = picture;
    return true;
  }

  if (!stored) {
    // "buffer size" and "failed", in GBK
    kitc_log(kLogError, "Decoder.cpp", __LINE__,
             "decodeid:%d %s::DecodeFrameVideo \xBB\xBA\xB4\xE6\xB4\xF3\xD0\xA1:%d realloc\xCA\xA7\xB0\xDC "
             "error:%d\n",
             static_cast<int>(nPlayerID), m_Library.szClass, static_cast<int>(m_Buffer.Size()),
             static_cast<int>(GetLastError()));
  }
  m_nNoPicture = 0;
  m_LastPicture = picture;
  return true;
}

bool Decoder05::GetImageRGB32(uint8_t* buffer, uint32_t bufferSize) {
  const DecodedPicture& last = m_LastPicture;
  if (m_hDecoder == nullptr || !last.bHasImage || buffer == nullptr) return false;
  if (static_cast<uint64_t>(last.nWidth) * last.nHeight > bufferSize / 4) return false;
  if (last.pPlane[0] == nullptr) return true;
  PlanarToRGB32(buffer, static_cast<int32_t>(last.nWidth * 4), last.pPlane[0], last.pPlane[1], last.pPlane[2],
                static_cast<int32_t>(last.nStride[0]), static_cast<int32_t>(last.nStride[1]),
                static_cast<int32_t>(last.nWidth), static_cast<int32_t>(last.nHeight), true);
  return true;
}

void Decoder05::OpenLibrary() {
  if (!platform::RunGuarded([this] { m_hDecoder = m_Library.Open(); })) m_hDecoder = nullptr;
}

// A crash while closing leaves nothing that could still be done about the old decoder.
void Decoder05::CloseLibrary() {
  if (m_hDecoder != nullptr) platform::RunGuarded([this] { m_Library.Close(m_hDecoder); });
  m_hDecoder = nullptr;
}
