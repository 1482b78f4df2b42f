// What the decoders over QDEC05 share: the H.264 and the H.265 decoder differ in the functions they call and
// in their names.
#pragma once

#include "decode/Decoder.h"
#include "decode/PictureBuffer.h"
#include "qdec05.h"

// One half of QDEC05 and the words for it in the log.
struct Library05 {
  const char* szClass;
  const char* szDecodeFunction;
  QXD05_Handle (*Open)();
  int32_t(QXD_CALL* Decode)(QXD05_Handle, const QXD05_Input*, const QXD05_Picture**, uint32_t*);
  void(QXD_CALL* Close)(QXD05_Handle);
};

// A library decoder that crashes is closed and opened again; it goes on at the next key frame.
class Decoder05 : public Decoder {
 public:
  ~Decoder05() override;
  Decoder05(const Decoder05&) = delete;
  Decoder05& operator=(const Decoder05&) = delete;

  bool DecodeFrameVideo(DecodedPicture& picture, const uint8_t* data, uint32_t size,
                        uint32_t nPlayerID) override;
  // True without writing when memory for the last picture ran out.
  bool GetImageRGB32(uint8_t* buffer, uint32_t bufferSize) override;
  // Width, height and frame period, ms. The library takes the size from the stream.
  bool Open(uint32_t width, uint32_t height, uint32_t framePeriodMs) override;

  // Decodes since the last picture that completed none.
  uint32_t NoPictureCount() const { return m_nNoPicture; }

 protected:
  explicit Decoder05(const Library05& library) : m_Library(library) {}

 private:
  void OpenLibrary();
  void CloseLibrary();

  const Library05& m_Library;
  uint32_t m_nNoPicture = 0;
  QXD05_Handle m_hDecoder = nullptr;
  DecodedPicture m_LastPicture;
  PictureBuffer m_Buffer;
};
