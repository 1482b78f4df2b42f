// Part of every test program: fails it when the library's objects in it have not given back all memory of the
// tracking allocator by its end. The shared library does so itself, told by QXSDKP_MEMORY.
#include "src/kit_mem/kit_mem.h"

// Null in a program that contains no allocator.
[[gnu::weak]] void mck_abort_unless_clean() noexcept;

namespace {

// With the lowest priority that is free to use: after every static object has gone.
[[gnu::destructor(101)]] void CheckMemory() {
  if (mck_abort_unless_clean != nullptr) mck_abort_unless_clean();
}

}  // namespace
