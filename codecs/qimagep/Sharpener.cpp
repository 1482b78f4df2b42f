#include "codecs/qimagep/Sharpener.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr uint32_t kCacheLine = 64;

uint32_t ToCacheLines(uint32_t bytes) {
  return (bytes + kCacheLine - 1) / kCacheLine * kCacheLine;
}

SharpenFactors FactorsFor(int32_t radius, float strength) {
  SharpenFactors factors;
  factors.nBox = 2 * radius + 1;
  while (255 * factors.nBox << (factors.nFractionBits + 1) < 1 << 16)
    ++factors.nFractionBits;
  const auto ratio = [&factors](int32_t bits) {
    return static_cast<uint16_t>(((1 << bits) + factors.nBox - 1) / factors.nBox);
  };
  factors.wColumn = ratio(16);
  factors.wRow = ratio(23 - factors.nFractionBits);
  // Not-a-number passes through clamp.
  const float gain = std::clamp(strength, 0.0F, Sharpener::kMaxStrength) - 1;
  factors.nGain = std::isnan(gain) ? int16_t{0} : static_cast<int16_t>(std::lround(gain * 4096));
  return factors;
}

}  // namespace

Sharpener::Plane Sharpener::Sharpen(const Plane& source, uint32_t width, uint32_t height, int32_t radius,
                                    float strength) {
  if (width - 1 >= kMaxSide || height - 1 >= kMaxSide) return {};
  if (radius < 1) return source;
  radius = std::min(radius, kMaxRadius);
  const SharpenFactors factors = FactorsFor(radius, strength);
  if (factors.nGain == 0) return source;
  const auto columns = static_cast<int32_t>(width);
  const auto rows = static_cast<int32_t>(height);
  if (!Prepare(columns, rows, factors)) return {};

  const auto row = [&](int32_t y) {
    return source.pData + static_cast<size_t>(std::clamp(y, 0, rows - 1)) * source.nStride;
  };
  // The box begins where it holds nothing but the first row, and arrives there `radius` rows later.
  for (int32_t x = 0; x < columns; ++x)
    m_pColumns[x] = static_cast<uint16_t>(row(0)[x] * factors.nBox);
  for (int32_t y = 1 - radius; y < rows; ++y) {
    m_Kernels.MoveDown(m_pColumns, row(y + radius), row(y - radius - 1), columns);
    if (y >= 0) SharpenRow(m_pTarget + static_cast<size_t>(y) * m_nTargetStride, row(y), columns, factors);
  }
  return {m_pTarget, m_nTargetStride};
}

// Running sums have the mean of any box in one subtraction, wherever they wrap.
void Sharpener::SharpenRow(uint8_t* target, const uint8_t* source, int32_t width,
                           const SharpenFactors& factors) {
  const int32_t radius = factors.nBox / 2;
  const auto repeat = [&](uint16_t* sums, uint16_t sum, const uint16_t& column) {
    uint16_t mean = 0;
    kPlainSharpenKernels.SumMeans(&mean, &column, 0, factors, 1);
    for (int32_t i = 0; i < radius; ++i)
      sums[i] = sum = static_cast<uint16_t>(sum + mean);
    return sum;
  };
  m_pSums[0] = 0;
  uint16_t* const inside = m_pSums + 1 + radius;
  uint16_t sum = repeat(m_pSums + 1, 0, m_pColumns[0]);
  sum = m_Kernels.SumMeans(inside, m_pColumns, sum, factors, width);
  repeat(inside + width, sum, m_pColumns[width - 1]);
  m_Kernels.Sharpen(target, source, m_pSums, factors, width);
}

bool Sharpener::Prepare(int32_t width, int32_t height, const SharpenFactors& factors) {
  const uint32_t stride = ToCacheLines(static_cast<uint32_t>(width));
  const uint32_t targetBytes = stride * static_cast<uint32_t>(height);
  const uint32_t columnBytes = stride * 2;
  const uint32_t sumBytes = ToCacheLines(static_cast<uint32_t>(width + factors.nBox) * 2);
  const uint32_t bytes = targetBytes + columnBytes + sumBytes;
  if (bytes > m_nBytes) {
    m_nBytes = 0;
    m_pMemory.reset();  // first, so that two pictures are never held at a time
    m_pMemory.reset(static_cast<uint8_t*>(std::aligned_alloc(kCacheLine, bytes)));
    if (m_pMemory == nullptr) return false;
    m_nBytes = bytes;
  }
  m_pTarget = m_pMemory.get();
  m_nTargetStride = stride;
  m_pColumns = reinterpret_cast<uint16_t*>(m_pTarget + targetBytes);
  m_pSums = reinterpret_cast<uint16_t*>(m_pTarget + targetBytes + columnBytes);
  return true;
}
