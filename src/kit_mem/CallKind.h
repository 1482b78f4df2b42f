// Who calls the allocator, and the families that must not release each other's blocks.
#pragma once

#include <cstdint>

namespace page_list {

enum CallKind : uint32_t {
  kUnknownCall,
  kMalloc,
  kCalloc,
  kRealloc,
  kFree,
  kOwnNew,
  kOwnDelete,
  kOwnNewArray,
  kOwnDeleteArray,
  // 9 to 12 are the C library's functions, which do not come here.
  kGlobalNew = 13,
  kGlobalDelete,
  kGlobalNewArray,
  kGlobalDeleteArray,
  kCallKindCount
};

constexpr uint32_t kUnknownFamily = 0;
constexpr uint32_t kFamilyCount = 5;
constexpr uint8_t kFamilyOfCall[kCallKindCount] = {0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4};
constexpr const char* kAllocatingNames[kFamilyCount] = {
    "unknown", "mck_malloc/mck_calloc/mck_realloc", "mck new/new[]", "malloc/calloc/realloc", "new/new[]"};
constexpr const char* kReleasingNames[kFamilyCount] = {"unknown", "mck_free", "mck delete/delete[]", "free",
                                                       "delete/delete[]"};

}  // namespace page_list
