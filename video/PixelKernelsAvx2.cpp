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

// Has the cache line that the row walk writes 1 KB further on, be it in the next row, fetched for writing.
// Otherwise it is fetched only when a store already waits for it. A CPU with AVX2 but without this
// instruction takes it for a no-operation.
//
// Times over libyuv's at 1920 x 1080 (bench_pixels, Intel Xeon with 2 MB of second-level cache a core): with
// 48 pictures in turn 0.92 instead of 1.05 for RGB32 (with PrefetchSource), 0.75 instead of 0.95 for YUY2,
// 0.93 instead of 1.07 for a copy; with two pictures, in the caches, it costs nothing. Stores that go
// past the caches are faster still when measured alone (0.6, 0.5, 0.7), but the viewer reads the target at
// once, for the copy to the back surface. With that copy counted they save 10 to 25 per cent when 96 pictures
// go round, and cost 40 to 90 per cent when the pictures of one to four players would have stayed in the
// caches.
void PrefetchForWrite(const uint8_t* target) {
  const uintptr_t ahead =
      reinterpret_cast<uintptr_t>(target) + 1024;  // may lie outside the target: never dereferenced
  _mm_prefetch(reinterpret_cast<const char*>(ahead), _MM_HINT_ET0);
}

// The same for reading, `ahead` bytes on.
void PrefetchSource(const uint8_t* source, uintptr_t ahead) {
  _mm_prefetch(reinterpret_cast<const char*>(reinterpret_cast<uintptr_t>(source) + ahead), _MM_HINT_T0);
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

void ToRGB32(const PixelRow& row, int32_t pixels) {
  // Deals out pairs of samples as StoreRGB32 deals out quads of pixels.
  const __m128i dealPairs = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
  int32_t x = 0;
  for (; pixels - x >= 32; x += 32) {
    uint8_t* const target = row.target + 4 * static_cast<intptr_t>(x);
    PrefetchForWrite(target);
    PrefetchForWrite(target + 64);
    PrefetchSource(row.luma + x, 512);
    PrefetchSource(row.cb + x / 2, 256);
    PrefetchSource(row.cr + x / 2, 256);
    const ChromaTerms terms =
        TermsOf(_mm256_cvtepu8_epi16(_mm_shuffle_epi8(LoadHalf(row.cb + x / 2), dealPairs)),
                _mm256_cvtepu8_epi16(_mm_shuffle_epi8(LoadHalf(row.cr + x / 2), dealPairs)));
    StoreRGB32(target, row.luma + x, terms);
  }
  if (x < pixels) kSse2PixelKernels.ToRGB32(RowFrom(row, x, 4), pixels - x);
}

void ToYUY2(const PixelRow& row, int32_t pixels) {
  int32_t x = 0;
  for (; pixels - x >= 32; x += 32) {
    uint8_t* const target = row.target + 2 * static_cast<intptr_t>(x);
    PrefetchForWrite(target);
    const __m256i cb = _mm256_cvtepu8_epi16(LoadHalf(row.cb + x / 2));
    const __m256i cr = _mm256_cvtepu8_epi16(LoadHalf(row.cr + x / 2));
    const __m256i chroma = JoinLanes(_mm256_or_si256(cb, _mm256_slli_epi16(cr, 8)));
    const __m256i luma = JoinLanes(Load(row.luma + x));
    Store(target, _mm256_unpacklo_epi8(luma, chroma));
    Store(target + 32, _mm256_unpackhi_epi8(luma, chroma));
  }
  if (x < pixels) kSse2PixelKernels.ToYUY2(RowFrom(row, x, 2), pixels - x);
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

// Splits 32 pairs.
void SplitStep(uint8_t* first, uint8_t* second, const uint8_t* source) {
  const __m256i mask = _mm256_set1_epi16(255);
  const __m256i low = Load(source);
  const __m256i high = Load(source + 32);
  Store(first, JoinLanes(_mm256_packus_epi16(_mm256_and_si256(low, mask), _mm256_and_si256(high, mask))));
  Store(second, JoinLanes(_mm256_packus_epi16(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8))));
}

void Split(uint8_t* first, uint8_t* second, const uint8_t* source, int32_t pairs) {
  int32_t x = 0;
  for (; pairs - x >= 64; x += 64) {  // one cache line of each target
    const uint8_t* const from = source + 2 * static_cast<intptr_t>(x);
    PrefetchForWrite(first + x);
    PrefetchForWrite(second + x);
    SplitStep(first + x, second + x, from);
    SplitStep(first + x + 32, second + x + 32, from + 64);
  }
  const intptr_t at = 2 * static_cast<intptr_t>(x);
  if (x < pairs) kSse2PixelKernels.Split(first + x, second + x, source + at, pairs - x);
}

// Beats memcpy outside the caches, which fetches lines for writing no earlier than it writes them.
void Copy(uint8_t* target, const uint8_t* source, size_t bytes) {
  const size_t head = (0 - reinterpret_cast<uintptr_t>(target)) % 64;
  if (bytes < 512) return CopyPlain(target, source, bytes);
  CopyPlain(target, source, head);
  size_t at = head;
  for (; bytes - at >= 64; at += 64) {
    PrefetchForWrite(target + at);
    const __m256i low = Load(source + at);
    const __m256i high = Load(source + at + 32);
    Store(target + at, low);
    Store(target + at + 32, high);
  }
  CopyPlain(target + at, source + at, bytes - at);
}

}  // namespace

const PixelKernels kAvx2PixelKernels = {"AVX2", ToRGB32, ToYUY2, Halve, Split, Copy};

#endif
