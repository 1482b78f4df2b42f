// Sharpens luma planes: an unsharp mask over a box.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "codecs/qimagep/SharpenKernels.h"

// out = mean + strength * (in - mean), mean being that of the (2 * radius + 1)^2 pixels around, those beyond
// the border taken from it. Time does not depend on the radius. Memory is taken when the size of the pictures
// or the radius grows.
class Sharpener {
 public:
  static constexpr int32_t kMaxRadius = 128;  // the sum of a column still fits 16 bits
  static constexpr float kMaxStrength = 8;
  static constexpr uint32_t kMaxSide = 16384;  // pixels

  struct Plane {
    const uint8_t* pData = nullptr;
    uint32_t nStride = 0;  // bytes per row
  };

  explicit Sharpener(const SharpenKernels& kernels = WidestSharpenKernels()) : m_Kernels(kernels) {}

  // radius, pixels: below 1 nothing is sharpened, above kMaxRadius counts as that. strength: 1 leaves the
  // picture as it is, 0 leaves only the mean; cut to 0 to kMaxStrength, as it is for not-a-number. The result
  // is valid until the next call; it is `source` itself when nothing is sharpened. Null data: a picture that
  // is empty or too large, or no memory.
  Plane Sharpen(const Plane& source, uint32_t width, uint32_t height, int32_t radius, float strength);

 private:
  bool Prepare(int32_t width, int32_t height, const SharpenFactors& factors);
  void SharpenRow(uint8_t* target, const uint8_t* source, int32_t width, const SharpenFactors& factors);

  struct Free {
    void operator()(void* memory) const { std::free(memory); }
  };

  const SharpenKernels& m_Kernels;
  uint32_t m_nBytes = 0;  // at m_pMemory
  std::unique_ptr<uint8_t, Free> m_pMemory;
  // Inside m_pMemory, each on a cache line.
  uint8_t* m_pTarget = nullptr;
  uint32_t m_nTargetStride = 0;
  uint16_t* m_pColumns = nullptr;  // sums of the box's bytes in each column
  uint16_t* m_pSums = nullptr;  // running sums of the columns' means, from `radius` columns before the first
};
