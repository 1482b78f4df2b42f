// The sharpening filter's inner loops in 256-bit vectors. Compiled with AVX2 enabled, so it includes nothing
// whose inline functions the linker could take from here.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include "codecs/qimagep/SharpenKernels.h"

namespace {

template <typename Element>
__m256i Load(const Element* source) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source));
}

template <typename Element>
void Store(Element* target, __m256i value) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(target), value);
}

__m256i LoadBytes(const uint8_t* source) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(source)));
}

void MoveDown(uint16_t* columns, const uint8_t* entering, const uint8_t* leaving, int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 16; x += 16) {
    const __m256i change = _mm256_sub_epi16(LoadBytes(entering + x), LoadBytes(leaving + x));
    Store(columns + x, _mm256_add_epi16(Load(columns + x), change));
  }
  kSse2SharpenKernels.MoveDown(columns + x, entering + x, leaving + x, pixels - x);
}

// Running sums within each half of the vector.
__m256i SumHalves(__m256i values) {
  values = _mm256_add_epi16(values, _mm256_slli_si256(values, 2));
  values = _mm256_add_epi16(values, _mm256_slli_si256(values, 4));
  return _mm256_add_epi16(values, _mm256_slli_si256(values, 8));
}

uint16_t SumMeans(uint16_t* sums, const uint16_t* columns, uint16_t sum, const SharpenFactors& factors,
                  int32_t pixels) {
  const __m128i shift = _mm_cvtsi32_si128(factors.nFractionBits);
  const __m256i factor = _mm256_set1_epi16(static_cast<int16_t>(factors.wColumn));
  const __m256i lastOfHalf = _mm256_set1_epi16(0x0F0E);
  __m256i before = _mm256_set1_epi16(static_cast<int16_t>(sum));
  int32_t x = 0;
  for (; pixels - x >= 16; x += 16) {
    const __m256i halves = SumHalves(_mm256_mulhi_epu16(_mm256_sll_epi16(Load(columns + x), shift), factor));
    const __m256i lasts = _mm256_shuffle_epi8(halves, lastOfHalf);
    const __m256i lastOfLow = _mm256_permute2x128_si256(lasts, lasts, 0x08);  // to the high half, else 0
    Store(sums + x, _mm256_add_epi16(_mm256_add_epi16(halves, lastOfLow), before));
    // One addition from each vector to the next.
    before = _mm256_add_epi16(before, _mm256_add_epi16(lasts, _mm256_permute4x64_epi64(lasts, 0x4E)));
  }
  return kSse2SharpenKernels.SumMeans(
      sums + x, columns + x, static_cast<uint16_t>(_mm_extract_epi16(_mm256_castsi256_si128(before), 0)),
      factors, pixels - x);
}

// 16 pixels, as 16-bit values that may lie outside a byte.
__m256i Sharpened(__m256i source, const uint16_t* sums, const SharpenFactors& factors) {
  const __m256i sum = _mm256_sub_epi16(Load(sums + factors.nBox), Load(sums));
  const __m256i mean = _mm256_mulhi_epu16(sum, _mm256_set1_epi16(static_cast<int16_t>(factors.wRow)));
  const __m256i detail = _mm256_sub_epi16(_mm256_slli_epi16(source, 7), mean);
  const __m256i eighths = _mm256_mulhi_epi16(detail, _mm256_set1_epi16(factors.nGain));
  return _mm256_add_epi16(source, _mm256_srai_epi16(_mm256_add_epi16(eighths, _mm256_set1_epi16(4)), 3));
}

void Sharpen(uint8_t* target, const uint8_t* source, const uint16_t* sums, const SharpenFactors& factors,
             int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 32; x += 32) {
    const __m256i low = Sharpened(LoadBytes(source + x), sums + x, factors);
    const __m256i high = Sharpened(LoadBytes(source + x + 16), sums + x + 16, factors);
    Store(target + x, _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8));
  }
  kSse2SharpenKernels.Sharpen(target + x, source + x, sums + x, factors, pixels - x);
}

}  // namespace

const SharpenKernels kAvx2SharpenKernels = {"AVX2", MoveDown, SumMeans, Sharpen};

#endif
