#include "src/kit_mem/kit_mem.h"

#include "platform/Kernel.h"

void* mck_malloc(size_t bytes) {
  return GlobalAlloc(GMEM_FIXED, bytes != 0 ? bytes : 1);
}

void mck_free(void* memory) {
  if (memory != nullptr) GlobalFree(memory);
}
