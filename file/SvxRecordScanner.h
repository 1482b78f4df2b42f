// Finds the records of a recording in bytes that arrive in pieces, and its way back to them where the bytes
// are damaged.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "file/SvxFormat.h"

class SvxRecordScanner {
 public:
  SvxRecordScanner() = default;
  // The four bytes that a header and every record of the file begin with.
  explicit SvxRecordScanner(std::span<const uint8_t, 4> sync);

  // Looks for a record at the front of `bytes`; where there is none, at the next sync word. True:
  // bytes[skipped] begins a whole record, kTrailerBytes follow it, and `head` is its head. False: drop
  // `skipped` bytes and ask again with more behind what is left. isAll: no more are to be had.
  //
  // A head makes a record when it is valid and a sync word stands before it or behind the payload: one
  // damaged sync word loses nothing, and damage that happens to look like a head swallows no megabyte of good
  // records.
  bool Find(std::span<const uint8_t> bytes, bool isAll, size_t& skipped, svx::RecordHead& head);
  // The next bytes are not the ones behind the last.
  void Restart() { m_bLost = false; }

 private:
  size_t FindSync(std::span<const uint8_t> bytes) const;
  bool IsSync(const uint8_t* bytes) const { return std::equal(m_Sync, m_Sync + sizeof m_Sync, bytes); }

  uint8_t m_Sync[4] = {};
  bool m_bLost = false;  // what stood there was no record, and no sync word was found since
};
