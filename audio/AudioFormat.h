// The sound of one stream, as its header or file tells it, and how much of it to buffer.
#pragma once

#include <cstdint>

struct AudioFormat {
  uint32_t channels = 0;
  uint32_t samplesPerSec = 0;  // Hz
  uint32_t bitsPerSample = 0;
  uint32_t bufferMs = 0;   // length of the device buffer
  uint32_t latencyMs = 0;  // start threshold, reported as the latency
};
