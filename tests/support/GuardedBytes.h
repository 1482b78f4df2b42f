// A copy of some bytes that ends where the next byte faults.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

class GuardedBytes {
 public:
  explicit GuardedBytes(std::span<const uint8_t> bytes) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t used = (bytes.size() + page - 1) / page * page;
    m_nMapped = used + page;
    m_pMapped = mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m_pMapped == MAP_FAILED) std::abort();
    uint8_t* const guard = static_cast<uint8_t*>(m_pMapped) + used;
    if (mprotect(guard, page, PROT_NONE) != 0) std::abort();
    m_pData = guard - bytes.size();
    if (!bytes.empty()) std::memcpy(m_pData, bytes.data(), bytes.size());
  }
  ~GuardedBytes() { munmap(m_pMapped, m_nMapped); }
  GuardedBytes(const GuardedBytes&) = delete;
  GuardedBytes& operator=(const GuardedBytes&) = delete;

  const uint8_t* Data() const { return m_pData; }

 private:
  size_t m_nMapped;
  void* m_pMapped;
  uint8_t* m_pData;
};
