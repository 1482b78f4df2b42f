// The older video codec, over QDEC04.
#pragma once

#include "decode/Decoder.h"
#include "decode/PictureBuffer.h"
#include "qdec04.h"

// A frame is an 8-byte head and the payload: bits 0 to 3 of the little-endian word at byte 4 are the frame's
// type, bits 4 to 23 the payload's length.
class QDEC04Decoder final : public Decoder {
 public:
  QDEC04Decoder() = default;
  ~QDEC04Decoder() override;
  QDEC04Decoder(const QDEC04Decoder&) = delete;
  QDEC04Decoder& operator=(const QDEC04Decoder&) = delete;

  uint32_t GetDecoderType() const override { return kCodecQdec04; }
  uint32_t GetDelay() const override { return 0; }
  bool DecodeFrameVideo(DecodedPicture& picture, const uint8_t* data, uint32_t size,
                        uint32_t nPlayerID) override;
  // False as long as the library has no picture, and after a crash until the next one.
  bool GetImageRGB32(uint8_t* buffer, uint32_t bufferSize) override;
  // Width, height and frame period, ms; the period is not used.
  bool Open(uint32_t width, uint32_t height, uint32_t framePeriodMs) override;

 private:
  enum class Outcome { kRefused, kNoPicture, kPicture };
  Outcome DecodeInLibrary(const uint8_t* data, uint32_t size);

  QXD04_Context* m_pContext = nullptr;
  PictureBuffer m_Buffer;
};
