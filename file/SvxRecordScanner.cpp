#include "file/SvxRecordScanner.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t kSmallestBytes = svx::kRecordHeadBytes + svx::kTrailerBytes;

}  // namespace

SvxRecordScanner::SvxRecordScanner(std::span<const uint8_t, 4> sync) {
  std::ranges::copy(sync, m_Sync);
}

bool SvxRecordScanner::Find(std::span<const uint8_t> bytes, bool isAll, size_t& skipped,
                            svx::RecordHead& head) {
  skipped = 0;
  while (true) {
    if (m_bLost) {
      skipped += FindSync(bytes.subspan(skipped));
      if (bytes.size() - skipped < sizeof m_Sync) return false;
      m_bLost = false;
    }
    const std::span<const uint8_t> rest = bytes.subspan(skipped);
    if (rest.size() < kSmallestBytes) return false;
    head = svx::ReadHeadWord(svx::ReadWord(&rest[sizeof m_Sync]));
    if (head.IsValid()) {
      const bool isWhole = head.nPayloadBytes <= rest.size() - kSmallestBytes;
      if (IsSync(rest.data())) return isWhole;
      if (!isWhole && !isAll) return false;
      if (isWhole && IsSync(&rest[head.RecordBytes()])) return true;
    }
    ++skipped;
    m_bLost = true;
  }
}

// The place of the next sync word, or of the last bytes that may begin one.
size_t SvxRecordScanner::FindSync(std::span<const uint8_t> bytes) const {
  size_t at = 0;
  while (bytes.size() - at >= sizeof m_Sync) {
    const size_t places = bytes.size() - at - sizeof m_Sync + 1;
    const void* const first = std::memchr(bytes.data() + at, m_Sync[0], places);
    if (first == nullptr) return at + places;
    at = static_cast<size_t>(static_cast<const uint8_t*>(first) - bytes.data());
    if (IsSync(&bytes[at])) return at;
    ++at;
  }
  return at;
}
