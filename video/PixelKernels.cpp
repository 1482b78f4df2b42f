// Chooses the table of pixel kernels by what the CPU can do.
#include "video/PixelKernels.h"

#include <atomic>

namespace {

std::atomic<const PixelKernels*> g_activeKernels{nullptr};

const PixelKernels* WidestKernels() {
  for (PixelInstructionSet set : {PixelInstructionSet::Avx2, PixelInstructionSet::Sse2}) {
    if (const PixelKernels* kernels = PixelKernelsFor(set)) return kernels;
  }
  return &kPlainPixelKernels;
}

}  // namespace

const PixelKernels* PixelKernelsFor(PixelInstructionSet instructionSet) {
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
