#include "file/FileWindow.h"

#include <cstring>
#include <memory>

namespace {

constexpr size_t kPageBytes = 4096;

size_t WholePages(size_t bytes) {
  return (bytes + kPageBytes - 1) / kPageBytes * kPageBytes;
}

}  // namespace

bool FileWindow::Open(const char* fileName, size_t largestBytes) {
  m_hFile = CreateFileA(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                        FILE_ATTRIBUTE_NORMAL, nullptr);
  if (m_hFile == INVALID_HANDLE_VALUE) return false;
  // One page more, because the first byte may stand anywhere within its page.
  m_nCapacity = WholePages(largestBytes) + kPageBytes;
  size_t room = m_nCapacity + kPageBytes;
  m_pMemory = AllocateHeapBytes(room);
  void* memory = m_pMemory.get();
  if (memory == nullptr) {
    Close();
    return false;
  }
  m_pPages = static_cast<uint8_t*>(std::align(kPageBytes, m_nCapacity, memory, room));
  m_nFirst = m_nFront = m_nEnd = 0;
  m_llEndOffset = 0;
  return true;
}

void FileWindow::Close() {
  if (m_hFile != INVALID_HANDLE_VALUE) CloseHandle(m_hFile);
  m_hFile = INVALID_HANDLE_VALUE;
  m_pMemory.reset();
  m_pPages = nullptr;
  m_nCapacity = m_nFirst = m_nFront = m_nEnd = 0;
}

bool FileWindow::Refill() {
  const size_t kept = m_nEnd - m_nFront;
  const size_t front = Offset() % kPageBytes;
  if (front != m_nFront) std::memmove(m_pPages + front, m_pPages + m_nFront, kept);
  m_nFirst = m_nFront = front;
  m_nEnd = front + kept;
  DWORD count = 0;
  const auto room = static_cast<DWORD>(m_nCapacity - m_nEnd);
  if (room == 0 || !ReadFile(m_hFile, m_pPages + m_nEnd, room, &count, nullptr)) return false;
  m_nEnd += count;
  m_llEndOffset += count;
  return count != 0;
}

bool FileWindow::Seek(uint64_t offset) {
  const uint64_t firstOffset = m_llEndOffset - (m_nEnd - m_nFirst);
  if (offset >= firstOffset && offset <= m_llEndOffset) {
    m_nFront = m_nEnd - static_cast<size_t>(m_llEndOffset - offset);
    return true;
  }
  const auto withinPage = static_cast<size_t>(offset % kPageBytes);
  const uint64_t page = offset - withinPage;
  auto high = static_cast<LONG>(page >> 32);
  SetLastError(0);
  if (SetFilePointer(m_hFile, static_cast<LONG>(page), &high, FILE_BEGIN) == INVALID_SET_FILE_POINTER &&
      GetLastError() != 0)
    return false;
  m_nFirst = m_nFront = m_nEnd = 0;
  m_llEndOffset = page;
  while (m_nEnd < withinPage) {
    if (!Refill()) return false;
  }
  m_nFront = withinPage;
  return true;
}
