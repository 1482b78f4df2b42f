// What stands in front of every block, and the sizes that decide where a block comes from.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace page_list {

// Where the links name a block or page, they hold an index plus 1 and 0 for none, never an address: so the
// header has one layout on every target, and a damaged link can be told from a good one.
struct BlockHeader {
  uint32_t dwMarker;      // kLiveMarker while the block is handed out
  uint32_t dwSize;        // what the caller asked for
  uint32_t dwIdentifier;  // the checker's record, or kUntracked
  uint32_t dwKey;         // of that record, 0 when untracked
  uint32_t dwUser;        // address of the user's bytes, the low half of it on 64-bit targets
  uint32_t dwPage;        // the page's descriptor; 0 for a large block
  uint32_t dwPrevious;  // in its list: a block of the same page, or, for a large block, the identifier of one
  uint32_t dwNext;
};
static_assert(sizeof(BlockHeader) == 32);
static_assert(offsetof(BlockHeader, dwMarker) == 0 && offsetof(BlockHeader, dwSize) == 4);
static_assert(offsetof(BlockHeader, dwIdentifier) == 8 && offsetof(BlockHeader, dwKey) == 12);
static_assert(offsetof(BlockHeader, dwUser) == 16 && offsetof(BlockHeader, dwPage) == 20);
static_assert(offsetof(BlockHeader, dwPrevious) == 24 && offsetof(BlockHeader, dwNext) == 28);

constexpr uint32_t kLiveMarker = 0xAB684721;
constexpr uint32_t kFreeMarker = 0;
constexpr uint32_t kUntracked = 0x100000;  // the identifier of a block that the checker had no record for

constexpr size_t kHeaderBytes = sizeof(BlockHeader);
constexpr size_t kBlockAlignment = 8;         // of sizes, and the least of addresses
constexpr size_t kSmallTotal = 2048;          // largest total of the small pool
constexpr size_t kMediumTotal = 32766;        // largest total of the medium pool
constexpr size_t kLargeGranularity = 0x8000;  // large blocks are taken from the platform in multiples of this
constexpr size_t kMaxSize =
    0xFFFFFFFF - kLargeGranularity + 1 - kHeaderBytes;  // its platform size fits 32 bits

enum PoolIndex : uint32_t { kSmallPool, kMediumPool, kLargePool, kPoolCount };

// What a block of `size` (at most kMaxSize) takes with its header.
constexpr size_t TotalOf(size_t size) {
  return (size + kBlockAlignment - 1) / kBlockAlignment * kBlockAlignment + kHeaderBytes;
}
constexpr PoolIndex PoolOf(size_t total) {
  return total <= kSmallTotal ? kSmallPool : total <= kMediumTotal ? kMediumPool : kLargePool;
}
// 8 bytes more decide at both edges, on every target.
static_assert(PoolOf(TotalOf(2016)) == kSmallPool && PoolOf(TotalOf(2017)) == kMediumPool);
static_assert(PoolOf(TotalOf(32728)) == kMediumPool && PoolOf(TotalOf(32729)) == kLargePool);
// Of a large block: what the platform is asked for.
constexpr size_t LargeBytesOf(size_t total) {
  return (total + kLargeGranularity - 1) / kLargeGranularity * kLargeGranularity;
}
// Of the other pools: the base-2 logarithm of the block size, the smallest power of two that holds the total.
constexpr uint32_t SizeLogOf(size_t total) {
  return static_cast<uint32_t>(std::bit_width(total - 1));
}
// What a block keeps from others: its size class, or its platform memory.
constexpr size_t ReservedBytesOf(size_t total) {
  return PoolOf(total) == kLargePool ? LargeBytesOf(total) : size_t{1} << SizeLogOf(total);
}

inline void* UserOf(BlockHeader* header) {
  return header + 1;
}
inline BlockHeader* HeaderOf(void* user) {
  return static_cast<BlockHeader*>(user) - 1;
}
inline uint32_t LowHalf(const void* user) {
  return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(user));
}

}  // namespace page_list
