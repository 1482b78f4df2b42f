// AMR, A-law, mu-law and AAC over QADEC.
#pragma once

#include "decode/Decoder.h"
#include "qadec.h"

class QADDecoder final : public Decoder {
 public:
  QADDecoder() = default;
  ~QADDecoder() override;
  QADDecoder(const QADDecoder&) = delete;
  QADDecoder& operator=(const QADDecoder&) = delete;

  uint32_t GetDecoderType() const override { return m_nCodecId; }
  uint32_t GetDelay() const override { return 0; }
  // The sound is the library's memory. After a crash of the library every call answers false.
  bool DecodeFrameAudio(DecodedSound& sound, const uint8_t* data, uint32_t size, uint32_t nPlayerID) override;
  // Codec identifier, channels, samples per second; AAC alone needs the latter two.
  bool Open(uint32_t codecId, uint32_t channels, uint32_t sampleRate) override;

 private:
  void OpenLibrary(int32_t kind);
  void CloseLibrary();

  uint32_t m_nCodecId = kCodecNone;
  QAD_Handle m_hDecoder = nullptr;
};
