// See Checker.h.
#include "src/kit_mem/Checker.h"

#include "platform/Kernel.h"
#include "src/kit_mem/Poison.h"

namespace page_list {

Checker::~Checker() {
  for (CheckerRecord* page : m_pPages)
    if (page != nullptr) GlobalFree(page);
}

// kUntracked when there is none.
uint32_t Checker::TakeRecord() {
  if (m_dwFree != 0) {
    const uint32_t identifier = m_dwFree - 1;
    m_dwFree = Record(identifier).dwNext;
    return identifier;
  }
  if (m_dwHighWater == m_dwMaxRecords) return kUntracked;
  CheckerRecord*& page = m_pPages[m_dwHighWater / kRecordsPerPage];
  if (page == nullptr) {
    page = static_cast<CheckerRecord*>(GlobalAlloc(GMEM_FIXED, kRecordsPerPage * sizeof(CheckerRecord)));
    if (page == nullptr) return kUntracked;
  }
  return m_dwHighWater++;
}

NO_SANITIZE_ADDRESS void Checker::Register(BlockHeader* header, uint32_t family) {
  const uint32_t identifier = TakeRecord();
  header->dwIdentifier = identifier;
  if (identifier == kUntracked) {
    header->dwKey = 0;
    ++m_dwUntrackedBlocks;
    return;
  }
  header->dwKey = ++m_dwKey;
  Record(identifier) = CheckerRecord{.dwPrevious = 0,
                                     .dwNext = m_dwLive,
                                     .bLive = 1,
                                     .nFamily = static_cast<CheckerRecord::Narrow>(family),
                                     .dwIdentifier = identifier,
                                     .dwKey = m_dwKey,
                                     .dwSize = header->dwSize,
                                     .pUser = UserOf(header)};
  if (m_dwLive != 0) Record(m_dwLive - 1).dwPrevious = identifier + 1;
  m_dwLive = identifier + 1;
}

Checker::Verdict Checker::Verify(const void* user, const Claim& claim) const {
  // Also while records are left: the platform may have had no memory for more when the block was handed out.
  const bool untrackedExist = m_dwHighWater == m_dwMaxRecords || m_dwUntrackedBlocks != 0;
  if (claim.dwIdentifier == kUntracked && claim.dwKey == 0 && untrackedExist) return Verdict::kHasNoRecord;
  if (claim.dwIdentifier >= m_dwHighWater) return Verdict::kNoSuchIdentifier;
  const CheckerRecord& record = RecordOf(claim.dwIdentifier);
  const bool same = record.bLive != 0 && record.dwKey == claim.dwKey && record.pUser == user &&
                    record.dwSize == claim.dwSize;
  return same ? Verdict::kTracked : Verdict::kMismatch;
}

void Checker::Retire(const Claim& claim) {
  if (claim.dwIdentifier == kUntracked) {
    if (m_dwUntrackedBlocks != 0) --m_dwUntrackedBlocks;
    return;
  }
  CheckerRecord& record = Record(claim.dwIdentifier);
  if (record.dwNext != 0) Record(record.dwNext - 1).dwPrevious = record.dwPrevious;
  (record.dwPrevious != 0 ? Record(record.dwPrevious - 1).dwNext : m_dwLive) = record.dwNext;
  record.bLive = 0;
  record.dwNext = m_dwFree;
  m_dwFree = claim.dwIdentifier + 1;
}

size_t Checker::ReservedBytes() const {
  size_t pages = 0;
  while (pages < kMaxPages && m_pPages[pages] != nullptr)
    ++pages;
  return pages * kRecordsPerPage * sizeof(CheckerRecord);
}

}  // namespace page_list
