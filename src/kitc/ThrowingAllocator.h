// For containers, which have no other way than an exception to say that memory is exhausted: the library's
// own `new` answers null.
#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>

template <typename T>
struct ThrowingAllocator {
  using value_type = T;
  ThrowingAllocator() = default;
  template <typename Other>
  ThrowingAllocator(const ThrowingAllocator<Other>&) {}
  T* allocate(size_t count) {
    static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);  // more than `new` gives
    constexpr size_t kBytes = sizeof(T);  // NOLINT(bugprone-sizeof-expression): of a pointer, where T is one
    void* const memory =
        count <= static_cast<size_t>(-1) / kBytes ? ::operator new(count* kBytes, std::nothrow) : nullptr;
    if (memory == nullptr) throw std::bad_alloc();
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, size_t) { ::operator delete(memory); }
  bool operator==(const ThrowingAllocator&) const { return true; }
};

using String = std::basic_string<char, std::char_traits<char>, ThrowingAllocator<char>>;

template <typename T, typename... Arguments>
std::shared_ptr<T> MakeShared(Arguments&&... arguments) {
  return std::allocate_shared<T>(ThrowingAllocator<T>(), std::forward<Arguments>(arguments)...);
}
