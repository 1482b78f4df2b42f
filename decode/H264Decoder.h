// H.264 over QDEC05.
#pragma once

#include "decode/Decoder05.h"

class H264Decoder final : public Decoder05 {
 public:
  H264Decoder();
  // The half of QDEC05 that decodes H.264.
  static const Library05& Library();
  uint32_t GetDecoderType() const override { return kCodecH264; }
  uint32_t GetDelay() const override { return 0; }
};
