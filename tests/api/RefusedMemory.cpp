#include "tests/api/RefusedMemory.h"

#include <cstdlib>
#include <new>
#include <utility>

#include "src/kit_mem/Poison.h"
#include "src/kit_mem/kit_mem.h"

// The linker leads the calls of malloc() and realloc() here (--wrap).
extern "C" void* __real_malloc(size_t size);
extern "C" void* __real_realloc(void* memory, size_t size);

namespace {

std::atomic<int64_t> g_llLeft{INT64_MAX};
std::atomic<bool> g_bRefused{false};
std::atomic<RefusedMemory::Which> g_Which{RefusedMemory::Which::kPlatform};
thread_local bool t_bRefusedHere = false;
thread_local bool t_bInPlatform = false;  // what is allocated below counts as one request

bool IsGranted(bool platform) {
  const RefusedMemory::Which which = g_Which;
  if (!platform && (t_bInPlatform || which == RefusedMemory::Which::kPlatform)) return true;
  const int64_t left = --g_llLeft;
  if (left >= 0 || (left != -1 && which == RefusedMemory::Which::kOne)) return true;
  g_bRefused = true;
  t_bRefusedHere = true;
  return false;
}

// Stands in front of the test's own blocks, where the tracking allocator has two halves of an address.
constexpr uint64_t kOwnBlock = 0x6F776E20626C6F63;

void* OwnBlock(size_t size) {
  auto* const block = static_cast<uint64_t*>(__real_malloc(size + 16));
  if (block == nullptr) std::abort();
  block[0] = kOwnBlock;
  return block + 2;
}

NO_SANITIZE_ADDRESS bool IsOwn(const void* memory) {
  return static_cast<const volatile uint64_t*>(memory)[-2] == kOwnBlock;
}

template <typename Release>
void ReleaseBlock(void* memory, Release&& releaseOfLibrary) {
  if (memory == nullptr) return;
  if (!IsOwn(memory)) return releaseOfLibrary(memory);
  uint64_t* const block = static_cast<uint64_t*>(memory) - 2;
  block[0] = 0;
  std::free(block);
}

}  // namespace

void RefusedMemory::Begin(Which which, int64_t granted) {
  g_bRefused = false;
  t_bRefusedHere = false;
  g_Which = which;
  g_llLeft = granted;
}

bool RefusedMemory::End() {
  g_llLeft = INT64_MAX;
  return g_bRefused;
}

bool RefusedMemory::TakeRefusedHere() {
  return std::exchange(t_bRefusedHere, false);
}

void* RefusedMemory::Allocate(size_t bytes) {
  if (!IsGranted(true)) return nullptr;
  t_bInPlatform = true;
  void* const memory = TestSeam::Allocate(bytes);
  t_bInPlatform = false;
  return memory;
}

extern "C" void* __wrap_malloc(size_t size) {
  return IsGranted(false) ? __real_malloc(size) : nullptr;
}
extern "C" void* __wrap_realloc(void* memory, size_t size) {
  return IsGranted(false) ? __real_realloc(memory, size) : nullptr;
}

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return IsGranted(false) ? mck_global_new(size) : nullptr;
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return IsGranted(false) ? mck_global_new_array(size) : nullptr;
}
void* operator new(size_t size) {
  return OwnBlock(size);
}
void* operator new[](size_t size) {
  return OwnBlock(size);
}
void operator delete(void* memory) noexcept {
  ReleaseBlock(memory, mck_global_delete);
}
void operator delete(void* memory, size_t) noexcept {
  ReleaseBlock(memory, mck_global_delete);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  ReleaseBlock(memory, mck_global_delete);
}
void operator delete[](void* memory) noexcept {
  ReleaseBlock(memory, mck_global_delete_array);
}
void operator delete[](void* memory, size_t) noexcept {
  ReleaseBlock(memory, mck_global_delete_array);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  ReleaseBlock(memory, mck_global_delete_array);
}
