// The functions through which the library allocates, on its one allocator.
#include "src/kit_mem/kit_mem.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/Kernel.h"
#include "src/kit_mem/Allocator.h"

using page_list::CallKind;

static_assert(mck_max_size == page_list::kMaxSize);

namespace {

// Never destroyed: static destructors still release what they own.
union LibraryAllocator {
  constexpr LibraryAllocator() : allocator() {}
  ~LibraryAllocator() {}
  page_list::Allocator allocator;
};
constinit LibraryAllocator g_Library;

void PrintUsage(const char* name, const mck_usage& usage) {
  char line[160];
  std::snprintf(line, sizeof(line), "mck_mem: %-36s reserved %12llu, used %12llu bytes, %8llu blocks\n", name,
                static_cast<unsigned long long>(usage.ullReserved),
                static_cast<unsigned long long>(usage.ullUsed),
                static_cast<unsigned long long>(usage.ullBlocks));
  PlatformWriteStandardOutput(line);
}

}  // namespace

const char* mck_version() noexcept {
  return "kit_mem v1.0.0.1";
}

void* mck_malloc(size_t size) noexcept {
  return g_Library.allocator.Allocate(size, CallKind::kMalloc);
}

void* mck_calloc(size_t count, size_t size) noexcept {
  if (size != 0 && count > mck_max_size / size) return nullptr;
  void* const block = g_Library.allocator.Allocate(count * size, CallKind::kCalloc);
  if (block != nullptr) std::memset(block, 0, count * size);
  return block;
}

void* mck_realloc(void* block, size_t size) noexcept {
  return g_Library.allocator.Reallocate(block, size, CallKind::kRealloc);
}

void mck_free(void* block) noexcept {
  g_Library.allocator.Release(block, CallKind::kFree);
}

void* mck_new(size_t size) noexcept {
  return g_Library.allocator.Allocate(size, CallKind::kOwnNew);
}

void* mck_new_array(size_t size) noexcept {
  return g_Library.allocator.Allocate(size, CallKind::kOwnNewArray);
}

void mck_delete(void* block) noexcept {
  g_Library.allocator.Release(block, CallKind::kOwnDelete);
}

void mck_delete_array(void* block) noexcept {
  g_Library.allocator.Release(block, CallKind::kOwnDeleteArray);
}

void* mck_global_new(size_t size) noexcept {
  return g_Library.allocator.Allocate(size, CallKind::kGlobalNew);
}

void* mck_global_new_array(size_t size) noexcept {
  return g_Library.allocator.Allocate(size, CallKind::kGlobalNewArray);
}

void mck_global_delete(void* block) noexcept {
  g_Library.allocator.Release(block, CallKind::kGlobalDelete);
}

void mck_global_delete_array(void* block) noexcept {
  g_Library.allocator.Release(block, CallKind::kGlobalDeleteArray);
}

void mck_release_if_unused() noexcept {
  g_Library.allocator.ReleaseIfUnused();
}

void mck_get_statistics(mck_statistics* statistics) noexcept {
  g_Library.allocator.GetStatistics(statistics);
}

void mck_print_statistics() noexcept {
  constexpr const char* kPoolNames[page_list::kPoolCount] = {"small pool", "medium pool", "large-block pool"};
  constexpr size_t kShownBlocks = 20;
  mck_statistics statistics;
  mck_get_statistics(&statistics);
  PrintUsage(mck_version(), statistics.library);
  for (uint32_t pool = 0; pool < page_list::kPoolCount; ++pool)
    PrintUsage(kPoolNames[pool], statistics.pools[pool]);
  for (uint32_t family = 0; family < page_list::kFamilyCount; ++family)
    PrintUsage(page_list::kAllocatingNames[family], statistics.families[family]);
  char line[160];
  std::snprintf(line, sizeof(line), "mck_mem: %llu failed verifications, %llu releases by another family\n",
                static_cast<unsigned long long>(statistics.ullFailedVerifications),
                static_cast<unsigned long long>(statistics.ullFamilyMismatches));
  PlatformWriteStandardOutput(line);
  page_list::CheckerRecord live[kShownBlocks];
  const size_t count = g_Library.allocator.GetLiveBlocks(live, kShownBlocks);
  for (size_t i = 0; i < count; ++i) {
    std::snprintf(line, sizeof(line), "mck_mem: live block %p, id=%d, size=%d, %s\n", live[i].pUser,
                  static_cast<int>(live[i].dwIdentifier), static_cast<int>(live[i].dwSize),
                  page_list::kAllocatingNames[live[i].nFamily]);
    PlatformWriteStandardOutput(line);
  }
}

void mck_abort_unless_clean() noexcept {
  mck_statistics statistics;
  mck_get_statistics(&statistics);
  const uint64_t faults = statistics.ullFailedVerifications + statistics.ullFamilyMismatches;
  if (statistics.library.ullBlocks == 0 && faults == 0) return;
  mck_print_statistics();
  std::abort();
}
