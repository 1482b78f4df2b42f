// Tells AddressSanitizer, where the code is built with it, which bytes of the allocator's memory nobody may
// touch. Functions that read or write headers carry NO_SANITIZE_ADDRESS.
#pragma once

#include <cstddef>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QX_POISONING 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QX_POISONING 1
#endif

#ifdef QX_POISONING
#include <sanitizer/asan_interface.h>
#define NO_SANITIZE_ADDRESS __attribute__((no_sanitize_address))
#else
#define NO_SANITIZE_ADDRESS
#endif

namespace page_list {

inline void Poison([[maybe_unused]] const void* memory, [[maybe_unused]] size_t bytes) {
#ifdef QX_POISONING
  __asan_poison_memory_region(memory, bytes);
#endif
}

inline void Unpoison([[maybe_unused]] const void* memory, [[maybe_unused]] size_t bytes) {
#ifdef QX_POISONING
  __asan_unpoison_memory_region(memory, bytes);
#endif
}

}  // namespace page_list
