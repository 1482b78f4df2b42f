// The library's allocator.
#pragma once

#include <cstddef>

// Memory for objects and frame copies; null when it is exhausted. A size of 0 yields a pointer that may be
// released.
void* mck_malloc(size_t bytes);
void mck_free(void* memory);
