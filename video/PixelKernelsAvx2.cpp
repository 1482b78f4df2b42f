// The pixel kernels in 256-bit vectors. Compiled with AVX2 enabled whatever the rest of the library is
// compiled for, so it includes nothing whose inline functions the linker could take from here.
#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#include "video/PixelKernels.h"

namespace {

__m256i Load(const uint8_t* source) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source));
}

__m128i LoadHalf(const uint8_t* source) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
}

void Store(uint8_t* target, __m256i value) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(target), value);
}

// Packs and unpacks work within each 128-bit lane. This puts the quarters of a vector of packed lanes back
// into order.
__m256i JoinLanes(__m256i packed) {
  return _mm256_permute4x64_epi64(packed, 0xD8);
}

// What 16 chroma samples add to 74 * Y, with the -74 * 16 of the luma offset already in it.
struct ChromaTerms {
  __m256i blue, green, red;
};

ChromaTerms TermsOf(__m256i cb, __m256i cr) {
  const __m256i lumaOffset = _mm256_set1_epi16(74 * 16);
  const __m256i u = _mm256_sub_epi16(cb, _mm256_set1_epi16(128));
  const __m256i v = _mm256_sub_epi16(cr, _mm256_set1_epi16(128));
  const __m256i green = _mm256_add_epi16(_mm256_mullo_epi16(u, _mm256_set1_epi16(25)),
                                         _mm256_mullo_epi16(v, _mm256_set1_epi16(52)));
  return {_mm256_sub_epi16(_mm256_mullo_epi16(u, _mm256_set1_epi16(129)), lumaOffset),
          _mm256_sub_epi16(_mm256_sub_epi16(_mm256_setzero_si256(), green), lumaOffset),
          _mm256_sub_epi16(_mm256_mullo_epi16(v, _mm256_set1_epi16(102)), lumaOffset)};
}

// One colour of 32 pixels. Blue can pass 32767 (34069 at most), so the addition saturates; 32767 >> 6 is
// clamped to 255 all the same.
__m256i Colour(__m256i lumaLow, __m256i lumaHigh, __m256i term) {
  const __m256i low = _mm256_srai_epi16(_mm256_adds_epi16(lumaLow, _mm256_unpacklo_epi16(term, term)), 6);
  const __m256i high = _mm256_srai_epi16(_mm256_adds_epi16(lumaHigh, _mm256_unpackhi_epi16(term, term)), 6);
  return _mm256_packus_epi16(low, high);
}

// Converts 32 pixels. The three unpacking steps leave four neighbouring pixels in each lane of a result, so
// the luma quads are dealt out to the lanes in turn beforehand (one permutation a row instead of four) and
// the four results come out in order.
void StoreRGB32(uint8_t* target, const uint8_t* source, const ChromaTerms& terms) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i factor = _mm256_set1_epi16(74);
  const __m256i luma = _mm256_permutevar8x32_epi32(Load(source), _mm256_setr_epi32(0, 2, 4, 6, 1, 3, 5, 7));
  const __m256i low = _mm256_mullo_epi16(_mm256_unpacklo_epi8(luma, zero), factor);
  const __m256i high = _mm256_mullo_epi16(_mm256_unpackhi_epi8(luma, zero), factor);
  const __m256i blue = Colour(low, high, terms.blue);
  const __m256i green = Colour(low, high, terms.green);
  const __m256i red = Colour(low, high, terms.red);
  const __m256i blueGreenLow = _mm256_unpacklo_epi8(blue, green);
  const __m256i blueGreenHigh = _mm256_unpackhi_epi8(blue, green);
  const __m256i redLow = _mm256_unpacklo_epi8(red, zero);
  const __m256i redHigh = _mm256_unpackhi_epi8(red, zero);
  Store(target, _mm256_unpacklo_epi16(blueGreenLow, redLow));
  Store(target + 32, _mm256_unpackhi_epi16(blueGreenLow, redLow));
  Store(target + 64, _mm256_unpacklo_epi16(blueGreenHigh, redHigh));
  Store(target + 96, _mm256_unpackhi_epi16(blueGreenHigh, redHigh));
}

void ToRGB32(const PixelRowPair& rows, int32_t pixels) {
  // Deals out pairs of samples as StoreRGB32 deals out quads of pixels.
  const __m128i dealPairs = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
  int32_t x = 0;
  for (; pixels - x >= 32; x += 32) {
    const ChromaTerms terms =
        TermsOf(_mm256_cvtepu8_epi16(_mm_shuffle_epi8(LoadHalf(rows.cb + x / 2), dealPairs)),
                _mm256_cvtepu8_epi16(_mm_shuffle_epi8(LoadHalf(rows.cr + x / 2), dealPairs)));
    const intptr_t offset = 4 * static_cast<intptr_t>(x);
    StoreRGB32(rows.target[0] + offset, rows.luma[0] + x, terms);
    StoreRGB32(rows.target[1] + offset, rows.luma[1] + x, terms);
  }
  if (x < pixels) kSse2PixelKernels.ToRGB32(RowsFrom(rows, x, 4), pixels - x);
}

void ToYUY2(const PixelRowPair& rows, int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 32; x += 32) {
    const __m256i chroma =
        JoinLanes(_mm256_or_si256(_mm256_cvtepu8_epi16(LoadHalf(rows.cb + x / 2)),
                                  _mm256_slli_epi16(_mm256_cvtepu8_epi16(LoadHalf(rows.cr + x / 2)), 8)));
    const intptr_t offset = 2 * static_cast<intptr_t>(x);
    for (int row = 0; row < 2; row++) {
      const __m256i luma = JoinLanes(Load(rows.luma[row] + x));
      Store(rows.target[row] + offset, _mm256_unpacklo_epi8(luma, chroma));
      Store(rows.target[row] + offset + 32, _mm256_unpackhi_epi8(luma, chroma));
    }
  }
  if (x < pixels) kSse2PixelKernels.ToYUY2(RowsFrom(rows, x, 2), pixels - x);
}

// Means of 2 x 2 from 32 bytes of each row, as 16-bit values.
__m256i Means(const uint8_t* upper, const uint8_t* lower) {
  const __m256i ones = _mm256_set1_epi8(1);
  const __m256i sums =
      _mm256_add_epi16(_mm256_maddubs_epi16(Load(upper), ones), _mm256_maddubs_epi16(Load(lower), ones));
  return _mm256_srli_epi16(sums, 2);
}

void Halve(uint8_t* target, const uint8_t* upper, const uint8_t* lower, int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 32; x += 32) {
    const intptr_t at = 2 * static_cast<intptr_t>(x);
    Store(target + x, JoinLanes(_mm256_packus_epi16(Means(upper + at, lower + at),
                                                    Means(upper + at + 32, lower + at + 32))));
  }
  const intptr_t at = 2 * static_cast<intptr_t>(x);
  if (x < pixels) kSse2PixelKernels.Halve(target + x, upper + at, lower + at, pixels - x);
}

void Split(uint8_t* first, uint8_t* second, const uint8_t* source, int32_t pairs) {
  const __m256i mask = _mm256_set1_epi16(255);
  int32_t x = 0;
  for (; pairs - x >= 32; x += 32) {
    const __m256i low = Load(source + 2 * static_cast<intptr_t>(x));
    const __m256i high = Load(source + 2 * static_cast<intptr_t>(x) + 32);
    Store(first + x,
          JoinLanes(_mm256_packus_epi16(_mm256_and_si256(low, mask), _mm256_and_si256(high, mask))));
    Store(second + x, JoinLanes(_mm256_packus_epi16(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8))));
  }
  if (x < pairs)
    kSse2PixelKernels.Split(first + x, second + x, source + 2 * static_cast<intptr_t>(x), pairs - x);
}

}  // namespace

const PixelKernels kAvx2PixelKernels = {"AVX2", ToRGB32, ToYUY2, Halve, Split};

#endif
