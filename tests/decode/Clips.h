// Clips that the build makes, what FFmpeg's own program decodes from them, and memory that ends where the
// next byte faults.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "video/DecodedPicture.h"

using Bytes = std::vector<uint8_t>;

// The bytes of a file in the clip folder.
Bytes ReadClip(const std::string& name);

// The twelve access units of a clip: of .h264 and .h265, cut in front of each delimiter, of .m4v behind each
// picture.
std::vector<Bytes> AccessUnits(const std::string& name);

// The largest difference between a decoded picture and picture `index` of a planar 4:2:0 reference, or of one
// that has luma alone; 256 when there is no picture or it has another size.
int Difference(const DecodedPicture& picture, const Bytes& reference, size_t index, uint32_t width,
               uint32_t height, bool lumaOnly = false);

class GuardedInput {
 public:
  static constexpr size_t kCapacity = 256 * 1024;

  GuardedInput();
  ~GuardedInput();
  GuardedInput(const GuardedInput&) = delete;
  GuardedInput& operator=(const GuardedInput&) = delete;

  // Copies the bytes so that they end at the guard page.
  const uint8_t* Place(const uint8_t* data, size_t size);

 private:
  uint8_t* m_pMemory = nullptr;
  size_t m_nMapped = 0;
};
