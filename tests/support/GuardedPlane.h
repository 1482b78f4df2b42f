// Memory that ends or begins where nobody may touch it.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

struct View {
  uint8_t* Row(int32_t row) const { return data + static_cast<intptr_t>(row) * stride; }
  uint8_t* data;
  int32_t stride;
};

// Room for one plane between two inaccessible pages, so that a byte read or written outside it ends the test.
class GuardedPlane {
 public:
  explicit GuardedPlane(size_t bytes = 256 * 1024) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    m_nRoom = (bytes + page - 1) / page * page;
    m_nMapped = m_nRoom + 2 * page;
    m_pMapped = mmap(nullptr, m_nMapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    m_pRoom = static_cast<uint8_t*>(m_pMapped) + page;
    if (m_pMapped == MAP_FAILED || mprotect(m_pRoom, m_nRoom, PROT_READ | PROT_WRITE) != 0) std::abort();
  }
  ~GuardedPlane() { munmap(m_pMapped, m_nMapped); }
  GuardedPlane(const GuardedPlane&) = delete;
  GuardedPlane& operator=(const GuardedPlane&) = delete;

  // Lays out `rows` rows full of a known byte. A negative stride puts the first row last in memory.
  View Place(int32_t rows, int32_t rowBytes, int32_t stride, bool atTheEnd) {
    const bool isEmpty = rows <= 0 || rowBytes <= 0;
    const size_t last = isEmpty ? 0 : static_cast<size_t>(abs(stride)) * static_cast<size_t>(rows - 1);
    const size_t size = isEmpty ? 0 : last + static_cast<size_t>(rowBytes);
    if (size > m_nRoom) std::abort();
    m_Bytes = {m_pRoom + (atTheEnd ? m_nRoom - size : 0), size};
    std::memset(m_Bytes.data(), 0xA5, size);
    return {m_Bytes.data() + (stride < 0 ? last : 0), stride};
  }
  // Those between the rows, too.
  std::span<uint8_t> Bytes() const { return m_Bytes; }

 private:
  size_t m_nRoom, m_nMapped;
  void* m_pMapped;
  uint8_t* m_pRoom;
  std::span<uint8_t> m_Bytes;
};

// A copy of some bytes that ends where the next byte faults.
class GuardedBytes {
 public:
  explicit GuardedBytes(std::span<const uint8_t> bytes) : m_Memory(bytes.size()) {
    const auto size = static_cast<int32_t>(bytes.size());
    m_pData = m_Memory.Place(1, size, size, true).data;
    if (size != 0) std::memcpy(m_pData, bytes.data(), bytes.size());
  }
  const uint8_t* Data() const { return m_pData; }

 private:
  GuardedPlane m_Memory;
  uint8_t* m_pData;
};
