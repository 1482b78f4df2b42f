// The sharpening filter's inner loops in 128-bit vectors. Compiled with SSE2 enabled whatever the rest of the
// library is compiled for, so it includes nothing whose inline functions the linker could take from here.
#if defined(__x86_64__) || defined(__i386__)

#include <emmintrin.h>

#include "codecs/qimagep/SharpenKernels.h"

namespace {

template <typename Element>
__m128i Load(const Element* source) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
}

template <typename Element>
void Store(Element* target, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(target), value);
}

__m128i LoadBytes(const uint8_t* source) {
  return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(source)), _mm_setzero_si128());
}

void MoveDown(uint16_t* columns, const uint8_t* entering, const uint8_t* leaving, int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 8; x += 8) {
    const __m128i change = _mm_sub_epi16(LoadBytes(entering + x), LoadBytes(leaving + x));
    Store(columns + x, _mm_add_epi16(Load(columns + x), change));
  }
  kPlainSharpenKernels.MoveDown(columns + x, entering + x, leaving + x, pixels - x);
}

// The last of eight values, eight times.
__m128i LastOf(__m128i values) {
  const __m128i last = _mm_shufflehi_epi16(values, 0xFF);
  return _mm_unpackhi_epi64(last, last);
}

uint16_t SumMeans(uint16_t* sums, const uint16_t* columns, uint16_t sum, const SharpenFactors& factors,
                  int32_t pixels) {
  const __m128i shift = _mm_cvtsi32_si128(factors.nFractionBits);
  const __m128i factor = _mm_set1_epi16(static_cast<int16_t>(factors.wColumn));
  __m128i before = _mm_set1_epi16(static_cast<int16_t>(sum));
  int32_t x = 0;
  for (; pixels - x >= 8; x += 8) {
    __m128i means = _mm_mulhi_epu16(_mm_sll_epi16(Load(columns + x), shift), factor);
    means = _mm_add_epi16(means, _mm_slli_si128(means, 2));
    means = _mm_add_epi16(means, _mm_slli_si128(means, 4));
    means = _mm_add_epi16(means, _mm_slli_si128(means, 8));
    Store(sums + x, _mm_add_epi16(means, before));
    before = _mm_add_epi16(before, LastOf(means));  // one addition from each vector to the next
  }
  return kPlainSharpenKernels.SumMeans(
      sums + x, columns + x, static_cast<uint16_t>(_mm_extract_epi16(before, 0)), factors, pixels - x);
}

// Eight pixels, as 16-bit values that may lie outside a byte.
__m128i Sharpened(__m128i source, const uint16_t* sums, const SharpenFactors& factors) {
  const __m128i sum = _mm_sub_epi16(Load(sums + factors.nBox), Load(sums));
  const __m128i mean = _mm_mulhi_epu16(sum, _mm_set1_epi16(static_cast<int16_t>(factors.wRow)));
  const __m128i detail = _mm_sub_epi16(_mm_slli_epi16(source, 7), mean);
  const __m128i eighths = _mm_mulhi_epi16(detail, _mm_set1_epi16(factors.nGain));
  return _mm_add_epi16(source, _mm_srai_epi16(_mm_add_epi16(eighths, _mm_set1_epi16(4)), 3));
}

void Sharpen(uint8_t* target, const uint8_t* source, const uint16_t* sums, const SharpenFactors& factors,
             int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 16; x += 16) {
    const __m128i low = Sharpened(LoadBytes(source + x), sums + x, factors);
    const __m128i high = Sharpened(LoadBytes(source + x + 8), sums + x + 8, factors);
    Store(target + x, _mm_packus_epi16(low, high));
  }
  kPlainSharpenKernels.Sharpen(target + x, source + x, sums + x, factors, pixels - x);
}

}  // namespace

const SharpenKernels kSse2SharpenKernels = {"SSE2", MoveDown, SumMeans, Sharpen};

#endif
