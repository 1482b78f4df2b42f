// What an AAC track's AudioSpecificConfig says that the sound decoder must know.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

struct AacConfig {
  uint32_t nChannels = 0;    // 0: described in the frames
  uint32_t nSampleRate = 0;  // Hz, of the low-complexity core: half of what comes out of HE-AAC
};

// Nothing for damage, and for kinds of AAC other than low complexity with or without its high-efficiency
// extensions.
std::optional<AacConfig> ParseAacConfig(std::span<const uint8_t> config);
