// See LargeBlockPool.h.
#include "src/kit_mem/LargeBlockPool.h"

#include "platform/Kernel.h"
#include "src/kit_mem/Poison.h"

namespace page_list {

namespace {

BlockHeader* BlockOf(uint32_t link, const Checker& checker) {
  return HeaderOf(checker.RecordOf(link - 1).pUser);
}

// Whether the link names a large block that is live.
bool IsLarge(uint32_t link, const Checker& checker) {
  if (link > checker.HighWaterMark()) return false;
  const CheckerRecord& record = checker.RecordOf(link - 1);
  return record.bLive != 0 && PoolOf(TotalOf(record.dwSize)) == kLargePool;
}

}  // namespace

NO_SANITIZE_ADDRESS BlockHeader* LargeBlockPool::Make(uint32_t size, size_t total) {
  auto* const header = static_cast<BlockHeader*>(GlobalAlloc(GMEM_FIXED, LargeBytesOf(total)));
  if (header == nullptr) return nullptr;
  Poison(header, LargeBytesOf(total));
  *header = BlockHeader{.dwMarker = kLiveMarker,
                        .dwSize = size,
                        .dwIdentifier = kUntracked,
                        .dwKey = 0,
                        .dwUser = LowHalf(UserOf(header)),
                        .dwPage = 0,
                        .dwPrevious = 0,
                        .dwNext = 0};
  return header;
}

void LargeBlockPool::Return(BlockHeader* header, size_t total) {
  Unpoison(header, LargeBytesOf(total));
  GlobalFree(header);
}

NO_SANITIZE_ADDRESS void LargeBlockPool::Link(BlockHeader* header, size_t total, const Checker& checker) {
  m_zBytes += LargeBytesOf(total);
  if (header->dwIdentifier == kUntracked) return;
  const uint32_t link = header->dwIdentifier + 1;
  header->dwNext = m_dwFirst;
  (m_dwFirst != 0 ? BlockOf(m_dwFirst, checker)->dwPrevious : m_dwLast) = link;
  m_dwFirst = link;
}

NO_SANITIZE_ADDRESS bool LargeBlockPool::Holds(BlockHeader* header, const Claim& claim,
                                               const Checker& checker) const {
  const uint32_t previous = header->dwPrevious;
  const uint32_t next = header->dwNext;
  if (claim.dwPage != 0) return false;
  if (claim.dwIdentifier == kUntracked) return previous == 0 && next == 0;
  const uint32_t link = claim.dwIdentifier + 1;
  const bool linkedBefore = previous != 0
                                ? IsLarge(previous, checker) && BlockOf(previous, checker)->dwNext == link
                                : m_dwFirst == link;
  const bool linkedBehind =
      next != 0 ? IsLarge(next, checker) && BlockOf(next, checker)->dwPrevious == link : m_dwLast == link;
  return linkedBefore && linkedBehind;
}

NO_SANITIZE_ADDRESS void LargeBlockPool::Unlink(BlockHeader* header, size_t total, const Checker& checker) {
  m_zBytes -= LargeBytesOf(total);
  header->dwMarker = kFreeMarker;
  if (header->dwIdentifier == kUntracked) return;
  (header->dwNext != 0 ? BlockOf(header->dwNext, checker)->dwPrevious : m_dwLast) = header->dwPrevious;
  (header->dwPrevious != 0 ? BlockOf(header->dwPrevious, checker)->dwNext : m_dwFirst) = header->dwNext;
}

NO_SANITIZE_ADDRESS void LargeBlockPool::Clear(const Checker& checker) {
  while (m_dwFirst != 0) {
    BlockHeader* const header = BlockOf(m_dwFirst, checker);
    m_dwFirst = header->dwNext;
    Return(header, TotalOf(header->dwSize));
  }
}

}  // namespace page_list
