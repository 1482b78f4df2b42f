// See PageListPool.h.
#include "src/kit_mem/PageListPool.h"

#include <algorithm>

#include "platform/Kernel.h"
#include "src/kit_mem/Poison.h"

namespace page_list {

namespace {

// By the base-2 logarithm of the block size.
constexpr uint8_t kBlocksPerPage[] = {0, 0, 0, 0, 0, 128, 64, 64, 64, 64, 64, 64, 64, 32, 32, 16};

constexpr uint32_t BlocksPerPage(uint32_t sizeLog) {
  return kBlocksPerPage[sizeLog];
}

// A multiple of 4096, since the smallest block is 32 bytes.
constexpr size_t PageBytesOf(uint32_t sizeLog) {
  return size_t{BlocksPerPage(sizeLog)} << sizeLog;
}
static_assert(PageBytesOf(5) == 4096 && PageBytesOf(6) == 4096 && PageBytesOf(12) == 0x40000);
static_assert(PageBytesOf(14) == 0x80000 && PageBytesOf(15) == 0x80000);

// link: a slot plus 1.
BlockHeader* BlockAt(const PageDescriptor& page, uint32_t link) {
  return reinterpret_cast<BlockHeader*>(page.Memory() + (size_t{link - 1} << page.bSizeLog));
}

uint32_t LinkOf(const PageDescriptor& page, const BlockHeader* header) {
  const auto offset = static_cast<size_t>(reinterpret_cast<const char*>(header) - page.Memory());
  return static_cast<uint32_t>(offset >> page.bSizeLog) + 1;
}

bool IsFull(const PageDescriptor& page) {
  return page.nFree == 0 && page.bCarved == BlocksPerPage(page.bSizeLog);
}

}  // namespace

PageListPool::~PageListPool() {
  for (const SizeClass& sizeClass : m_Classes)
    for (const uint32_t list : {sizeClass.dwRoom, sizeClass.dwFull})
      for (uint32_t link = list; link != 0; link = Page(link).dwNext) {
        Unpoison(Page(link).Memory(), PageBytesOf(Page(link).bSizeLog));
        GlobalFree(Page(link).Memory());
      }
  for (PageDescriptor* chunk : m_pChunks)
    if (chunk != nullptr) GlobalFree(chunk);
}

size_t PageListPool::TableBytes() const {
  return (m_dwCarved + kDescriptorsPerChunk - 1) / kDescriptorsPerChunk * kChunkBytes;
}

void PageListPool::Push(uint32_t& list, PageDescriptor& page, uint32_t link) {
  page.dwPrevious = 0;
  page.dwNext = list;
  if (list != 0) Page(list).dwPrevious = link;
  list = link;
}

void PageListPool::Unlink(uint32_t& list, const PageDescriptor& page) {
  if (page.dwNext != 0) Page(page.dwNext).dwPrevious = page.dwPrevious;
  (page.dwPrevious != 0 ? Page(page.dwPrevious).dwNext : list) = page.dwNext;
}

uint32_t PageListPool::TakeDescriptor() {
  if (m_dwFree != 0) {
    const uint32_t link = m_dwFree;
    m_dwFree = Page(link).dwNext;
    return link;
  }
  if (m_dwCarved == m_dwMaxDescriptors) return 0;
  PageDescriptor*& chunk = m_pChunks[m_dwCarved / kDescriptorsPerChunk];
  if (chunk == nullptr) chunk = static_cast<PageDescriptor*>(GlobalAlloc(GMEM_FIXED, kChunkBytes));
  return chunk != nullptr ? LinkOfDescriptor(m_dwCarved++) : 0;
}

// A new page at the head of its class's list of pages with room; 0 when there is none to be had.
uint32_t PageListPool::MakePage(uint32_t sizeLog) {
  const uint32_t link = TakeDescriptor();
  if (link == 0) return 0;
  PageDescriptor& page = Page(link);
  void* const memory = GlobalAlloc(GMEM_FIXED, PageBytesOf(sizeLog));
  if (memory == nullptr) {
    page.dwMarker = 0;
    page.dwNext = m_dwFree;
    m_dwFree = link;
    return 0;
  }
  Poison(memory, PageBytesOf(sizeLog));
  page.dwMarker = PageDescriptor::kPageMarker;
  page.bCarved = 0;
  page.bSizeLog = static_cast<uint8_t>(sizeLog);
  page.SetMemory(memory);
  page.nFree = 0;
  page.nUsed = 0;
  page.wUsedEnd = 0;
  Push(m_Classes[sizeLog - 1].dwRoom, page, link);
  ++m_dwPages;
  m_zPageBytes += PageBytesOf(sizeLog);
  return link;
}

// Null when the free list is empty, or was overwritten: then it is given up, so that no block that is in use
// is handed out again.
NO_SANITIZE_ADDRESS BlockHeader* PageListPool::TakeFreeBlock(PageDescriptor& page) {
  if (page.nFree == 0) return nullptr;
  BlockHeader* const header = BlockAt(page, page.nFree);
  if (header->dwMarker != kFreeMarker || header->dwNext > page.bCarved) {
    page.nFree = 0;
    ++m_dwDamagedLists;
    return nullptr;
  }
  page.nFree = static_cast<PageDescriptor::Slot>(header->dwNext);
  return header;
}

NO_SANITIZE_ADDRESS BlockHeader* PageListPool::Allocate(uint32_t size, size_t total) {
  const uint32_t sizeLog = SizeLogOf(total);
  SizeClass& sizeClass = m_Classes[sizeLog - 1];
  for (;;) {
    const uint32_t pageLink = sizeClass.dwRoom != 0 ? sizeClass.dwRoom : MakePage(sizeLog);
    if (pageLink == 0) return nullptr;
    PageDescriptor& page = Page(pageLink);
    BlockHeader* header = TakeFreeBlock(page);
    if (header == nullptr && page.bCarved < BlocksPerPage(sizeLog)) header = BlockAt(page, ++page.bCarved);
    if (IsFull(page)) {
      Unlink(sizeClass.dwRoom, page);
      Push(sizeClass.dwFull, page, pageLink);
    }
    if (header == nullptr) continue;  // its free list was given up; there are other pages
    header->dwMarker = kLiveMarker;
    header->dwSize = size;
    header->dwUser = LowHalf(UserOf(header));
    header->dwPage = pageLink;
    header->dwPrevious = 0;
    header->dwNext = page.nUsed;
    const uint32_t link = LinkOf(page, header);
    if (page.nUsed != 0) {
      BlockAt(page, page.nUsed)->dwPrevious = link;
    } else {
      page.wUsedEnd = static_cast<uint16_t>(link);
    }
    page.nUsed = static_cast<PageDescriptor::Slot>(link);
    return header;
  }
}

NO_SANITIZE_ADDRESS PageDescriptor* PageListPool::PageOf(BlockHeader* header, const Claim& claim,
                                                         size_t total) const {
  if (!IsLink(claim.dwPage)) return nullptr;
  PageDescriptor& page = Page(claim.dwPage);
  if (page.dwMarker != PageDescriptor::kPageMarker || page.bSizeLog != SizeLogOf(total)) return nullptr;
  const size_t offset = reinterpret_cast<uintptr_t>(header) - reinterpret_cast<uintptr_t>(page.Memory());
  if (offset >> page.bSizeLog >= page.bCarved) return nullptr;
  const uint32_t link = LinkOf(page, header);
  const uint32_t previous = header->dwPrevious;
  const uint32_t next = header->dwNext;
  if (BlockAt(page, link) != header || previous > page.bCarved || next > page.bCarved) return nullptr;
  const bool linkedBefore = previous != 0 ? BlockAt(page, previous)->dwNext == link : page.nUsed == link;
  const bool linkedBehind = next != 0 ? BlockAt(page, next)->dwPrevious == link : page.wUsedEnd == link;
  return linkedBefore && linkedBehind ? &page : nullptr;
}

NO_SANITIZE_ADDRESS void PageListPool::Release(PageDescriptor& page, uint32_t pageLink, BlockHeader* header,
                                               size_t total, ReturnedBlocks& returned) {
  SizeClass& sizeClass = m_Classes[page.bSizeLog - 1];
  if (IsFull(page)) {
    Unlink(sizeClass.dwFull, page);
    Push(sizeClass.dwRoom, page, pageLink);
  }
  if (header->dwNext != 0) {
    BlockAt(page, header->dwNext)->dwPrevious = header->dwPrevious;
  } else {
    page.wUsedEnd = static_cast<uint16_t>(header->dwPrevious);
  }
  const auto next = static_cast<PageDescriptor::Slot>(header->dwNext);
  if (header->dwPrevious != 0) {
    BlockAt(page, header->dwPrevious)->dwNext = next;
  } else {
    page.nUsed = next;
  }
  header->dwMarker = kFreeMarker;
  header->dwNext = page.nFree;
  page.nFree = static_cast<PageDescriptor::Slot>(LinkOf(page, header));
  Poison(UserOf(header), total - kHeaderBytes);
  if (page.nUsed == 0) ReturnPage(page, pageLink, returned);
}

void PageListPool::ReturnPage(PageDescriptor& page, uint32_t link, ReturnedBlocks& returned) {
  for (uint32_t block = 1; block <= page.bCarved; ++block)
    returned.Note(BlockAt(page, block));
  char* const memory = page.Memory();
  const size_t bytes = PageBytesOf(page.bSizeLog);
  Unlink(m_Classes[page.bSizeLog - 1].dwRoom, page);
  m_zPageBytes -= bytes;
  --m_dwPages;
  page.dwMarker = 0;
  page.dwNext = m_dwFree;
  m_dwFree = link;
  Unpoison(memory, bytes);
  GlobalFree(memory);
}

}  // namespace page_list
