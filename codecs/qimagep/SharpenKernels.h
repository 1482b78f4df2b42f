// The inner loops of the sharpening filter, for each instruction set, and the arithmetic that all of them
// share. Everything is done modulo 2^16, so that vectors hold as many 16-bit values as they can.
#pragma once

#include <cstdint>

// A box of n x n pixels is averaged in two steps. Columns: the sum of n bytes, to the mean with
// nFractionBits binary places, as many as let n such means fit in 16 bits. Rows: the sum of n of those means,
// to the mean with 7 binary places. Means are rounded down; where all n * n bytes are equal both are exact.
struct SharpenFactors {
  int32_t nBox = 0;           // n, odd, 3 to 257
  int32_t nFractionBits = 0;  // largest f with 255 * n * 2^f < 2^16
  uint16_t wColumn = 0;       // 2^16 / n, rounded up
  uint16_t wRow = 0;          // 2^(23 - f) / n, rounded up
  int16_t nGain = 0;          // what is added of the detail, 4096 for all of it
};

// All tables give the same bytes. The functions touch exactly the elements they are told to, at any
// alignment.
struct SharpenKernels {
  const char* szName;
  // columns += entering - leaving: the box goes one row down.
  void (*MoveDown)(uint16_t* columns, const uint8_t* entering, const uint8_t* leaving, int32_t pixels);
  // sums[x] = sum + the means of columns 0 to x. Returns the last one, or `sum` when there is none.
  uint16_t (*SumMeans)(uint16_t* sums, const uint16_t* columns, uint16_t sum, const SharpenFactors& factors,
                       int32_t pixels);
  // target = source + gain * (source - mean), the mean of the box from sums[x] to sums[x + n].
  void (*Sharpen)(uint8_t* target, const uint8_t* source, const uint16_t* sums, const SharpenFactors& factors,
                  int32_t pixels);
};

extern const SharpenKernels kPlainSharpenKernels;  // the reference; any CPU
#if defined(__x86_64__) || defined(__i386__)
extern const SharpenKernels kSse2SharpenKernels;
extern const SharpenKernels kAvx2SharpenKernels;
#endif

// Ordered from plain to widest.
enum class SharpenInstructionSet { Plain, Sse2, Avx2 };

// Null when this CPU or this build has no such instructions.
const SharpenKernels* SharpenKernelsFor(SharpenInstructionSet instructionSet);
const SharpenKernels& WidestSharpenKernels();
