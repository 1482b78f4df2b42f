// Gives back, when the shared library is unloaded, what the C++ runtime inside it took at its start, and the
// allocator's tables. Part of the shared library only: a program shares the runtime with others and must not
// release it.
#include <cstdlib>
#include <cstring>

#include "src/kit_mem/kit_mem.h"

namespace __gnu_cxx {
// libstdc++'s own, declared in none of its headers: releases the memory kept for exceptions when all other is
// exhausted (72 KB).
extern void __freeres();
}  // namespace __gnu_cxx

namespace {

// The lowest priority that is free to use, so that it runs after every static object has gone.
[[gnu::destructor(101)]] void ReleaseRuntime() {
  // For tests, and for hosts that look for what they have not released.
  const char* const memory = std::getenv("QXSDKP_MEMORY");
  if (memory != nullptr && std::strcmp(memory, "check") == 0) mck_abort_unless_clean();
  mck_release_if_unused();
  __gnu_cxx::__freeres();
}

}  // namespace
