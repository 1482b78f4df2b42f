// Compressed bytes as libavcodec wants them: it reads past the end of its input, and the caller's memory may
// end at a page.
#pragma once

#include <cstdint>

#include "codecs/av/AvOwners.h"

// One packet, filled again and again; its memory only grows.
class PaddedInput {
 public:
  // False when memory is exhausted.
  bool Create();
  // Copies `data`. False for no or too much data, or when memory is exhausted.
  bool Fill(const uint8_t* data, uint32_t size);
  // What was filled in; valid until the next Fill.
  const AVPacket* Packet() const { return m_pPacket.get(); }

 private:
  AvPacket m_pPacket;
};
