// H.265 over QDEC05.
#pragma once

#include "decode/Decoder05.h"

class H265Decoder final : public Decoder05 {
 public:
  H265Decoder();
  // The half of QDEC05 that decodes H.265.
  static const Library05& Library();
  uint32_t GetDecoderType() const override { return kCodecH265; }
  uint32_t GetDelay() const override { return m_nDelayMs; }
  bool Open(uint32_t width, uint32_t height, uint32_t framePeriodMs) override;

 private:
  uint32_t m_nDelayMs = 0;
};
