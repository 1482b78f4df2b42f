// Uncompressed sound: the decoder only takes a copy.
#pragma once

#include "decode/Decoder.h"
#include "src/kitc/HeapBytes.h"

class PCMDecoder final : public Decoder {
 public:
  uint32_t GetDecoderType() const override { return kCodecPcm; }
  uint32_t GetDelay() const override { return 0; }
  // False for a frame above the capacity.
  bool DecodeFrameAudio(DecodedSound& sound, const uint8_t* data, uint32_t size, uint32_t nPlayerID) override;
  // Capacity in bytes, channels, samples per second.
  bool Open(uint32_t capacity, uint32_t channels, uint32_t sampleRate) override;

 private:
  uint32_t m_nCapacity = 0;  // bytes
  HeapBytes m_pCopy;
};
