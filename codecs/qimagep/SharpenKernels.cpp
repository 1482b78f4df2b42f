// The sharpening filter's inner loops without vector instructions, and the choice by what the CPU can do.
#include "codecs/qimagep/SharpenKernels.h"

namespace {

void MoveDown(uint16_t* columns, const uint8_t* entering, const uint8_t* leaving, int32_t pixels) {
  for (int32_t x = 0; x < pixels; ++x)
    columns[x] = static_cast<uint16_t>(columns[x] + entering[x] - leaving[x]);
}

uint16_t SumMeans(uint16_t* sums, const uint16_t* columns, uint16_t sum, const SharpenFactors& factors,
                  int32_t pixels) {
  for (int32_t x = 0; x < pixels; ++x) {
    const uint32_t column = static_cast<uint32_t>(columns[x]) << factors.nFractionBits;
    sum = static_cast<uint16_t>(sum + (column * factors.wColumn >> 16));
    sums[x] = sum;
  }
  return sum;
}

void Sharpen(uint8_t* target, const uint8_t* source, const uint16_t* sums, const SharpenFactors& factors,
             int32_t pixels) {
  for (int32_t x = 0; x < pixels; ++x) {
    const uint32_t sum = static_cast<uint16_t>(sums[x + factors.nBox] - sums[x]);
    const auto mean = static_cast<int32_t>(sum * factors.wRow >> 16);
    const int32_t detail = (source[x] << 7) - mean;
    const int32_t eighths = detail * factors.nGain >> 16;  // of a grey level
    const int32_t value = source[x] + ((eighths + 4) >> 3);
    target[x] = static_cast<uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
  }
}

}  // namespace

const SharpenKernels kPlainSharpenKernels = {"plain", MoveDown, SumMeans, Sharpen};

const SharpenKernels* SharpenKernelsFor(SharpenInstructionSet instructionSet) {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  // The builtin also asks whether the operating system saves the wide registers.
  if (instructionSet == SharpenInstructionSet::Avx2 && __builtin_cpu_supports("avx2"))
    return &kAvx2SharpenKernels;
  if (instructionSet == SharpenInstructionSet::Sse2 && __builtin_cpu_supports("sse2"))
    return &kSse2SharpenKernels;
#endif
  return instructionSet == SharpenInstructionSet::Plain ? &kPlainSharpenKernels : nullptr;
}

const SharpenKernels& WidestSharpenKernels() {
  const SharpenKernels* kernels = SharpenKernelsFor(SharpenInstructionSet::Avx2);
  if (kernels == nullptr) kernels = SharpenKernelsFor(SharpenInstructionSet::Sse2);
  return kernels != nullptr ? *kernels : kPlainSharpenKernels;
}
