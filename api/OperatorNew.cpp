// The library's own new and delete: every object of it is a block of the tracking allocator. Linked into the
// shared library only, where no host can see or replace them.
#include <cstddef>
#include <new>

#include "src/kit_mem/kit_mem.h"

// Null when memory is exhausted. So the library says new (std::nothrow) and looks at the answer; its
// containers take memory through an allocator that throws.
void* operator new(size_t size) {
  return mck_global_new(size);
}

void* operator new[](size_t size) {
  return mck_global_new_array(size);
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return mck_global_new(size);
}

void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return mck_global_new_array(size);
}

void operator delete(void* block) noexcept {
  mck_global_delete(block);
}

void operator delete[](void* block) noexcept {
  mck_global_delete_array(block);
}

void operator delete(void* block, size_t) noexcept {
  mck_global_delete(block);
}

void operator delete[](void* block, size_t) noexcept {
  mck_global_delete_array(block);
}

void operator delete(void* block, const std::nothrow_t&) noexcept {
  mck_global_delete(block);
}

void operator delete[](void* block, const std::nothrow_t&) noexcept {
  mck_global_delete_array(block);
}
