// Blocks of power-of-two sizes, carved out of pages that are returned when their last block is released.
#pragma once

#include <cstring>
#include <type_traits>

#include "src/kit_mem/BlockHeader.h"
#include "src/kit_mem/Checker.h"
#include "src/kit_mem/ReturnedBlocks.h"

namespace page_list {

// 28 bytes on every target, so that a chunk holds the same number of them. Block links hold a slot plus 1,
// page links the descriptor's chunk and slot plus 1; 0 is none.
struct PageDescriptor {
  using Slot = std::conditional_t<sizeof(void*) == 8, uint16_t, uint32_t>;
  uint32_t dwMarker;  // kPageMarker while it has a page
  uint8_t bCarved;    // blocks that have been handed out at least once
  uint8_t bSizeLog;   // the base-2 logarithm of the block size
  uint16_t wUsedEnd;  // the last of the used blocks, so that both ends of their list can be verified
  alignas(4) unsigned char memory[sizeof(void*)];  // the page's address; descriptors are aligned to 4 bytes
  Slot nFree;                                      // heads of the lists of the page's blocks
  Slot nUsed;
  uint32_t dwPrevious;  // in the list of its size class
  uint32_t dwNext;      // also in the list of free descriptors

  static constexpr uint32_t kPageMarker = 0xBA679412;
  char* Memory() const {
    char* address;
    std::memcpy(&address, memory, sizeof(address));
    return address;
  }
  void SetMemory(const void* address) { std::memcpy(memory, &address, sizeof(address)); }
};
static_assert(sizeof(PageDescriptor) == 28);

// Not thread-safe.
class PageListPool {
 public:
  static constexpr uint32_t kSizeClasses = 32;
  static constexpr uint32_t kMaxChunks = 32;
  static constexpr size_t kChunkBytes = 32768;
  static constexpr uint32_t kDescriptorsPerChunk = kChunkBytes / sizeof(PageDescriptor);
  static constexpr uint32_t kMaxDescriptors = kMaxChunks * kDescriptorsPerChunk;
  static_assert(kDescriptorsPerChunk == 1170 && kMaxDescriptors == 37440);

  // maxDescriptors: at most kMaxDescriptors, less only to test what happens beyond.
  explicit PageListPool(uint32_t maxDescriptors) : m_dwMaxDescriptors(maxDescriptors) {}
  PageListPool(const PageListPool&) = delete;
  PageListPool& operator=(const PageListPool&) = delete;
  ~PageListPool();

  // A block with its header filled but for identifier and key; null when there is no memory or no descriptor.
  BlockHeader* Allocate(uint32_t size, size_t total);
  // The page of a block that the checker knows; null when the block does not lie where its header says, or
  // its links are not sound.
  PageDescriptor* PageOf(BlockHeader* header, const Claim& claim, size_t total) const;
  // Takes back a block of that page, and returns the page when this was its last block: then its blocks are
  // noted in `returned`. pageLink: the one that led to the page; the header's may have changed since.
  void Release(PageDescriptor& page, uint32_t pageLink, BlockHeader* header, size_t total,
               ReturnedBlocks& returned);

  size_t PageBytes() const { return m_zPageBytes; }
  uint32_t Pages() const { return m_dwPages; }
  size_t TableBytes() const;
  uint32_t DamagedLists() const { return m_dwDamagedLists; }

 private:
  // A page link is its descriptor's chunk and slot, the slot in as many bits as it needs, plus 1.
  static constexpr uint32_t kLinksPerChunk = 2048;

  struct SizeClass {
    uint32_t dwRoom;  // pages with room
    uint32_t dwFull;
  };

  PageDescriptor& Page(uint32_t link) const {
    return m_pChunks[link / kLinksPerChunk][link % kLinksPerChunk - 1];
  }
  static uint32_t LinkOfDescriptor(uint32_t index) {
    return index / kDescriptorsPerChunk * kLinksPerChunk + index % kDescriptorsPerChunk + 1;
  }
  // Whether a link that anybody may have written names a descriptor that has been carved.
  bool IsLink(uint32_t link) const {
    const uint32_t chunk = link / kLinksPerChunk;
    const uint32_t slot = link % kLinksPerChunk - 1;  // of no link 0: no slot
    return chunk < kMaxChunks && slot < kDescriptorsPerChunk &&
           chunk * kDescriptorsPerChunk + slot < m_dwCarved;
  }
  uint32_t TakeDescriptor();
  uint32_t MakePage(uint32_t sizeLog);
  BlockHeader* TakeFreeBlock(PageDescriptor& page);
  void Push(uint32_t& list, PageDescriptor& page, uint32_t link);
  void Unlink(uint32_t& list, const PageDescriptor& page);
  void ReturnPage(PageDescriptor& page, uint32_t link, ReturnedBlocks& returned);

  SizeClass m_Classes[kSizeClasses] = {};  // by the base-2 logarithm of the block size, less 1
  PageDescriptor* m_pChunks[kMaxChunks] = {};
  uint32_t m_dwCarved = 0;  // descriptors
  uint32_t m_dwFree = 0;    // list of descriptors
  uint32_t m_dwMaxDescriptors;
  uint32_t m_dwPages = 0;
  uint32_t m_dwDamagedLists = 0;
  size_t m_zPageBytes = 0;
};

}  // namespace page_list
