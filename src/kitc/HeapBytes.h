// Memory of the ordinary heap, for buffers that are too large or too short-lived for the library's object
// allocator.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

struct HeapBytesDeleter {
  void operator()(uint8_t* memory) const { std::free(memory); }
};
using HeapBytes = std::unique_ptr<uint8_t[], HeapBytesDeleter>;

// Null when memory is exhausted; 0 bytes yield a valid pointer.
inline HeapBytes AllocateHeapBytes(size_t bytes) {
  return HeapBytes(static_cast<uint8_t*>(std::malloc(bytes != 0 ? bytes : 1)));
}
