// See ReturnedBlocks.h.
#include "src/kit_mem/ReturnedBlocks.h"

#include "src/kit_mem/Poison.h"

namespace page_list {

Claim ReturnedBlocks::ClaimOf(const void* user) const {
  const Entry& entry = m_Entries[SlotOf(user)];
  Claim claim{};
  claim.dwMarker = kFreeMarker;
  claim.dwIdentifier = kUntracked;
  if (!Contains(user)) return claim;
  claim.dwSize = entry.dwSize;
  claim.dwIdentifier = entry.dwIdentifier;
  claim.dwKey = entry.dwKey;
  return claim;
}

NO_SANITIZE_ADDRESS void ReturnedBlocks::Note(BlockHeader* header) {
  Entry& entry = m_Entries[SlotOf(UserOf(header))];
  entry.pUser.store(UserOf(header), std::memory_order_relaxed);
  entry.dwSize = header->dwSize;
  entry.dwIdentifier = header->dwIdentifier;
  entry.dwKey = header->dwKey;
}

}  // namespace page_list
