// The inner loops of the pixel conversions: one table of functions for each instruction set, and the choice
// between them.
#pragma once

#include <cstddef>
#include <cstdint>

// One picture row and the chroma row that it shares with its neighbour. One row at a time: two per pass would
// load the chroma only once, but it lies in the first-level cache anyway, and a single stream of writes
// leaves more room for prefetching.
struct PixelRow {
  uint8_t* target;
  const uint8_t* luma;
  const uint8_t* cb;
  const uint8_t* cr;
};

// All tables give the same bytes. The functions touch exactly the pixels they are told to, at any alignment.
struct PixelKernels {
  const char* szName;
  // `pixels` is even; pixels / 2 chroma samples are read.
  void (*ToRGB32)(const PixelRow& row, int32_t pixels);
  // `pixels` is a multiple of 16.
  void (*ToYUY2)(const PixelRow& row, int32_t pixels);
  // One output row from two source rows of 2 * pixels bytes.
  void (*Halve)(uint8_t* target, const uint8_t* upper, const uint8_t* lower, int32_t pixels);
  // Splits 2 * pairs bytes into the first and the second byte of each pair.
  void (*Split)(uint8_t* first, uint8_t* second, const uint8_t* source, int32_t pairs);
  void (*Copy)(uint8_t* target, const uint8_t* source, size_t bytes);
};

extern const PixelKernels kPlainPixelKernels;  // the reference; any CPU
#if defined(__x86_64__) || defined(__i386__)
extern const PixelKernels kSse2PixelKernels;
extern const PixelKernels kAvx2PixelKernels;
#endif

// Ordered from plain to widest.
enum class PixelInstructionSet { Plain, Sse2, Avx2 };

// Null when this CPU or this build has no such instructions.
const PixelKernels* PixelKernelsFor(PixelInstructionSet instructionSet);

// The table that the conversions use: the widest of this CPU, found out at the first call, until
// UsePixelKernels names another one (to compare or to measure them). Any thread; a conversion under way
// finishes on the table it began with.
const PixelKernels& ActivePixelKernels();
void UsePixelKernels(const PixelKernels& kernels);

// What the vector kernels leave: the row from pixel `x` (even) on, and copies that are too short for them.
PixelRow RowFrom(const PixelRow& row, int32_t x, int32_t targetBytesPerPixel);
void CopyPlain(uint8_t* target, const uint8_t* source, size_t bytes);

// One 32-bit pixel, for the columns that the row functions cannot serve.
void PixelToRGB32(uint8_t* target, int32_t luma, int32_t cb, int32_t cr);
