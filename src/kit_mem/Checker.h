// The table of live blocks: gives each an identifier and a key, and verifies releases.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "src/kit_mem/BlockHeader.h"

namespace page_list {

// Links hold an identifier plus 1, 0 for none. Two fields are halved on 64-bit targets, where the address
// takes two: so a record page has the same size everywhere.
struct CheckerRecord {
  using Narrow = std::conditional_t<sizeof(void*) == 8, uint16_t, uint32_t>;
  uint32_t dwPrevious;
  uint32_t dwNext;
  Narrow bLive;
  Narrow nFamily;
  uint32_t dwIdentifier;
  uint32_t dwKey;
  uint32_t dwSize;
  void* pUser;
};
static_assert(sizeof(CheckerRecord) == 32 && offsetof(CheckerRecord, pUser) == 32 - sizeof(void*));

// What the header in front of a pointer says of its block.
struct Claim {
  uint32_t dwMarker;
  uint32_t dwSize;
  uint32_t dwIdentifier;
  uint32_t dwKey;
  uint32_t dwUser;
  uint32_t dwPage;
};

// Not thread-safe. Zeroed memory is its initial state.
class Checker {
 public:
  static constexpr uint32_t kRecordsPerPage = 4096;
  static constexpr uint32_t kMaxPages = 256;
  static constexpr uint32_t kMaxRecords = kRecordsPerPage * kMaxPages;
  static_assert(kMaxRecords == kUntracked);

  enum class Verdict { kTracked, kHasNoRecord, kNoSuchIdentifier, kMismatch };

  // firstKey: any value. maxRecords: at most kMaxRecords, less only to test what happens beyond.
  Checker(uint32_t firstKey, uint32_t maxRecords) : m_dwKey(firstKey), m_dwMaxRecords(maxRecords) {}
  Checker(const Checker&) = delete;
  Checker& operator=(const Checker&) = delete;
  ~Checker();

  // Writes identifier and key into the header of a block that is being handed out; kUntracked when all
  // records are taken or the platform has no memory for more.
  void Register(BlockHeader* header, uint32_t family);
  Verdict Verify(const void* user, const Claim& claim) const;
  // The block of a claim that Verify() took for good is not live any more.
  void Retire(const Claim& claim);

  // identifier: below HighWaterMark().
  const CheckerRecord& RecordOf(uint32_t identifier) const {
    return m_pPages[identifier / kRecordsPerPage][identifier % kRecordsPerPage];
  }
  uint32_t HighWaterMark() const { return m_dwHighWater; }
  uint32_t FirstLive() const { return m_dwLive; }  // a link: newest first
  size_t ReservedBytes() const;

 private:
  CheckerRecord& Record(uint32_t identifier) {
    return m_pPages[identifier / kRecordsPerPage][identifier % kRecordsPerPage];
  }
  uint32_t TakeRecord();

  CheckerRecord* m_pPages[kMaxPages] = {};
  uint32_t m_dwHighWater = 0;  // identifiers handed out so far
  uint32_t m_dwKey;            // the latest
  uint32_t m_dwLive = 0;       // lists of links
  uint32_t m_dwFree = 0;
  uint32_t m_dwMaxRecords;
  uint32_t m_dwUntrackedBlocks = 0;  // handed out and not released
};

}  // namespace page_list
