// Chooses the table of pixel kernels by what the CPU can do.
#include "video/PixelKernels.h"

#include <atomic>

namespace {

std::atomic<const PixelKernels*> g_activeKernels{nullptr};

const PixelKernels* WidestKernels() {
  const PixelKernels* kernels = PixelKernelsFor(PixelInstructionSet::Avx2);
  if (kernels == nullptr) kernels = PixelKernelsFor(PixelInstructionSet::Sse2);
  return kernels != nullptr ? kernels : &kPlainPixelKernels;
}

}  // namespace

const PixelKernels* PixelKernelsFor(PixelInstructionSet instructionSet) {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  // The builtin also asks whether the operating system saves the wide registers.
  if (instructionSet == PixelInstructionSet::Avx2 && __builtin_cpu_supports("avx2"))
    return &kAvx2PixelKernels;
  if (instructionSet == PixelInstructionSet::Sse2 && __builtin_cpu_supports("sse2"))
    return &kSse2PixelKernels;
#endif
  return instructionSet == PixelInstructionSet::Plain ? &kPlainPixelKernels : nullptr;
}

const PixelKernels& ActivePixelKernels() {
  const PixelKernels* kernels = g_activeKernels.load(std::memory_order_relaxed);
  if (kernels == nullptr) {
    // Two threads may both come here; they find the same table. A table named meanwhile stays.
    const PixelKernels* widest = WidestKernels();
    kernels = g_activeKernels.compare_exchange_strong(kernels, widest, std::memory_order_relaxed) ? widest
                                                                                                  : kernels;
  }
  return *kernels;
}

void UsePixelKernels(const PixelKernels& kernels) {
  g_activeKernels.store(&kernels, std::memory_order_relaxed);
}
