#include "decode/PCMDecoder.h"

#include <cstring>

bool PCMDecoder::Open(uint32_t capacity, uint32_t /*channels*/, uint32_t /*sampleRate*/) {
  m_nCapacity = capacity;
  m_pCopy = AllocateHeapBytes(capacity);
  return m_pCopy != nullptr;
}

bool PCMDecoder::DecodeFrameAudio(DecodedSound& sound, const uint8_t* data, uint32_t size,
                                  uint32_t /*nPlayerID*/) {
  if (m_pCopy == nullptr || size > m_nCapacity || data == nullptr) return false;
  std::memcpy(m_pCopy.get(), data, size);
  sound = {m_pCopy.get(), size};
  return true;
}
