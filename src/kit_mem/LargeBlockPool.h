// The list of large blocks, each of which is a platform allocation of its own.
#pragma once

#include "src/kit_mem/BlockHeader.h"
#include "src/kit_mem/Checker.h"

namespace page_list {

// The links are identifiers of the checker plus 1, so a block that it does not track stands in no list.
// Making and returning the memory needs no lock; the other operations are not thread-safe.
class LargeBlockPool {
 public:
  // A block with its header filled but for identifier and key, in no list; null when there is no memory.
  static BlockHeader* Make(uint32_t size, size_t total);
  // Takes the memory of a block that stands in no list any more.
  static void Return(BlockHeader* header, size_t total);

  void Link(BlockHeader* header, size_t total, const Checker& checker);
  // Whether the header of a block that the checker knows is sound.
  bool Holds(BlockHeader* header, const Claim& claim, const Checker& checker) const;
  void Unlink(BlockHeader* header, size_t total, const Checker& checker);

  // Returns all blocks that stand in the list.
  void Clear(const Checker& checker);
  size_t Bytes() const { return m_zBytes; }

 private:
  uint32_t m_dwFirst = 0;  // links
  uint32_t m_dwLast = 0;
  size_t m_zBytes = 0;
};

}  // namespace page_list
