#include "codecs/qmp4pkg/AacConfig.h"

#include <iterator>

namespace {

// ISO/IEC 14496-3: object types, and rates by their index.
constexpr uint32_t kLowComplexity = 2, kSbr = 5, kEscape = 31, kParametricStereo = 29;
constexpr uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                               22050, 16000, 12000, 11025, 8000,  7350};
constexpr uint32_t kExplicitRate = 15;

// Bits from the first byte's highest on; 0 past the end.
class Bits {
 public:
  explicit Bits(std::span<const uint8_t> bytes) : m_Bytes(bytes) {}

  uint32_t Take(int count) {
    uint32_t value = 0;
    for (; count > 0; --count, ++m_nAt) {
      const uint32_t bit = m_nAt / 8 < m_Bytes.size() ? m_Bytes[m_nAt / 8] >> (7 - m_nAt % 8) & 1 : 0;
      value = value << 1 | bit;
    }
    return value;
  }
  uint32_t ObjectType() {
    const uint32_t type = Take(5);
    return type == kEscape ? 32 + Take(6) : type;
  }
  uint32_t Rate() {
    const uint32_t index = Take(4);
    if (index == kExplicitRate) return Take(24);
    return index < std::size(kRates) ? kRates[index] : 0;
  }

 private:
  std::span<const uint8_t> m_Bytes;
  size_t m_nAt = 0;
};

}  // namespace

std::optional<AacConfig> ParseAacConfig(std::span<const uint8_t> config) {
  Bits bits(config);
  uint32_t type = bits.ObjectType();
  AacConfig aac;
  aac.nSampleRate = bits.Rate();
  const uint32_t layout = bits.Take(4);
  aac.nChannels = layout == 7 ? 8 : layout < 7 ? layout : 0;
  if (type == kSbr || type == kParametricStereo) {
    bits.Rate();
    type = bits.ObjectType();
  }
  if (type != kLowComplexity || aac.nSampleRate == 0) return std::nullopt;
  return aac;
}
