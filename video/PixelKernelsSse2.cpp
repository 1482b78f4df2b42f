// The pixel kernels in 128-bit vectors. Compiled with SSE2 enabled whatever the rest of the library is
// compiled for, so it includes nothing whose inline functions the linker could take from here.
#if defined(__x86_64__) || defined(__i386__)

#include <emmintrin.h>

#include "video/PixelKernels.h"

namespace {

__m128i Load(const uint8_t* source) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(source));
}

__m128i LoadHalf(const uint8_t* source) {
  return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source));
}

void Store(uint8_t* target, __m128i value) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(target), value);
}

// What eight chroma samples add to 74 * Y, with the -74 * 16 of the luma offset already in it.
struct ChromaTerms {
  __m128i blue, green, red;
};

ChromaTerms TermsOf(__m128i cb, __m128i cr) {
  const __m128i lumaOffset = _mm_set1_epi16(74 * 16);
  const __m128i u = _mm_sub_epi16(cb, _mm_set1_epi16(128));
  const __m128i v = _mm_sub_epi16(cr, _mm_set1_epi16(128));
  const __m128i green =
      _mm_add_epi16(_mm_mullo_epi16(u, _mm_set1_epi16(25)), _mm_mullo_epi16(v, _mm_set1_epi16(52)));
  return {_mm_sub_epi16(_mm_mullo_epi16(u, _mm_set1_epi16(129)), lumaOffset),
          _mm_sub_epi16(_mm_sub_epi16(_mm_setzero_si128(), green), lumaOffset),
          _mm_sub_epi16(_mm_mullo_epi16(v, _mm_set1_epi16(102)), lumaOffset)};
}

// One colour of 16 pixels. Blue can pass 32767 (34069 at most), so the addition saturates; 32767 >> 6 is
// clamped to 255 all the same.
__m128i Colour(__m128i lumaLow, __m128i lumaHigh, __m128i term) {
  const __m128i low = _mm_srai_epi16(_mm_adds_epi16(lumaLow, _mm_unpacklo_epi16(term, term)), 6);
  const __m128i high = _mm_srai_epi16(_mm_adds_epi16(lumaHigh, _mm_unpackhi_epi16(term, term)), 6);
  return _mm_packus_epi16(low, high);
}

void StoreRGB32(uint8_t* target, __m128i luma, const ChromaTerms& terms) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i factor = _mm_set1_epi16(74);
  const __m128i low = _mm_mullo_epi16(_mm_unpacklo_epi8(luma, zero), factor);
  const __m128i high = _mm_mullo_epi16(_mm_unpackhi_epi8(luma, zero), factor);
  const __m128i blue = Colour(low, high, terms.blue);
  const __m128i green = Colour(low, high, terms.green);
  const __m128i red = Colour(low, high, terms.red);
  const __m128i blueGreenLow = _mm_unpacklo_epi8(blue, green);
  const __m128i blueGreenHigh = _mm_unpackhi_epi8(blue, green);
  const __m128i redLow = _mm_unpacklo_epi8(red, zero);
  const __m128i redHigh = _mm_unpackhi_epi8(red, zero);
  Store(target, _mm_unpacklo_epi16(blueGreenLow, redLow));
  Store(target + 16, _mm_unpackhi_epi16(blueGreenLow, redLow));
  Store(target + 32, _mm_unpacklo_epi16(blueGreenHigh, redHigh));
  Store(target + 48, _mm_unpackhi_epi16(blueGreenHigh, redHigh));
}

void ToRGB32(const PixelRow& row, int32_t pixels) {
  const __m128i zero = _mm_setzero_si128();
  int32_t x = 0;
  for (; pixels - x >= 16; x += 16) {
    const ChromaTerms terms = TermsOf(_mm_unpacklo_epi8(LoadHalf(row.cb + x / 2), zero),
                                      _mm_unpacklo_epi8(LoadHalf(row.cr + x / 2), zero));
    StoreRGB32(row.target + 4 * static_cast<intptr_t>(x), Load(row.luma + x), terms);
  }
  if (x < pixels) kPlainPixelKernels.ToRGB32(RowFrom(row, x, 4), pixels - x);
}

void ToYUY2(const PixelRow& row, int32_t pixels) {
  for (int32_t x = 0; x < pixels; x += 16) {
    const __m128i chroma = _mm_unpacklo_epi8(LoadHalf(row.cb + x / 2), LoadHalf(row.cr + x / 2));
    const __m128i luma = Load(row.luma + x);
    uint8_t* const target = row.target + 2 * static_cast<intptr_t>(x);
    Store(target, _mm_unpacklo_epi8(luma, chroma));
    Store(target + 16, _mm_unpackhi_epi8(luma, chroma));
  }
}

// Sums of neighbouring bytes.
__m128i PairSums(__m128i bytes) {
  return _mm_add_epi16(_mm_and_si128(bytes, _mm_set1_epi16(255)), _mm_srli_epi16(bytes, 8));
}

void Halve(uint8_t* target, const uint8_t* upper, const uint8_t* lower, int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 16; x += 16) {
    const intptr_t at = 2 * static_cast<intptr_t>(x);
    const __m128i low = _mm_add_epi16(PairSums(Load(upper + at)), PairSums(Load(lower + at)));
    const __m128i high = _mm_add_epi16(PairSums(Load(upper + at + 16)), PairSums(Load(lower + at + 16)));
    Store(target + x, _mm_packus_epi16(_mm_srli_epi16(low, 2), _mm_srli_epi16(high, 2)));
  }
  const intptr_t at = 2 * static_cast<intptr_t>(x);
  kPlainPixelKernels.Halve(target + x, upper + at, lower + at, pixels - x);
}

void Split(uint8_t* first, uint8_t* second, const uint8_t* source, int32_t pairs) {
  const __m128i mask = _mm_set1_epi16(255);
  int32_t x = 0;
  for (; pairs - x >= 16; x += 16) {
    const __m128i low = Load(source + 2 * static_cast<intptr_t>(x));
    const __m128i high = Load(source + 2 * static_cast<intptr_t>(x) + 16);
    Store(first + x, _mm_packus_epi16(_mm_and_si128(low, mask), _mm_and_si128(high, mask)));
    Store(second + x, _mm_packus_epi16(_mm_srli_epi16(low, 8), _mm_srli_epi16(high, 8)));
  }
  kPlainPixelKernels.Split(first + x, second + x, source + 2 * static_cast<intptr_t>(x), pairs - x);
}

}  // namespace

const PixelKernels kSse2PixelKernels = {"SSE2", ToRGB32, ToYUY2, Halve, Split, CopyPlain};

#endif
