// Finds the records of a recording in bytes that arrive in pieces, and its way back to them where the bytes
// are damaged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "file/SvxFormat.h"

class SvxRecordScanner {
 public:
  SvxRecordScanner() = default;
  // The four bytes that a header and every record of the file begin with.
  explicit SvxRecordScanner(std::span<const uint8_t, 4> sync);

  // Looks for a record at the front of `bytes`; from an invalid head on, at the next sync word. True:
  // bytes[skipped] begins a whole record, kTrailerBytes follow it, and `head` is its head. False: drop
  // `skipped` bytes and ask again with more behind what is left.
  bool Find(std::span<const uint8_t> bytes, size_t& skipped, svx::RecordHead& head);
  // The next bytes are not the ones behind the last.
  void Restart() { m_bLost = false; }

 private:
  size_t FindSync(std::span<const uint8_t> bytes) const;

  uint8_t m_Sync[4] = {};
  bool m_bLost = false;  // the last head was invalid, and no sync word was found since
};
