// Planes that end or begin at memory nobody may touch.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tests/pixels/PixelReference.h"

// Room for one plane between two inaccessible pages, so that a byte read or written outside it ends the test.
// Bytes of the plane that belong to no row (between rows) keep kUntouched unless somebody writes them.
class GuardedPlane {
 public:
  static constexpr uint8_t kUntouched = 0xA5;
  enum class Against { FrontGuard, BackGuard };

  GuardedPlane() : m_guard(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    void* memory = mmap(nullptr, kRoom + 2 * m_guard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) abort();
    m_memory = static_cast<uint8_t*>(memory);
    if (mprotect(m_memory + m_guard, kRoom, PROT_READ | PROT_WRITE) != 0) abort();
  }
  ~GuardedPlane() { munmap(m_memory, kRoom + 2 * m_guard); }
  GuardedPlane(const GuardedPlane&) = delete;
  GuardedPlane& operator=(const GuardedPlane&) = delete;

  // Lays out `rows` rows, untouched. A negative stride puts the first row last in memory.
  View Place(int32_t rows, int32_t rowBytes, int32_t stride, Against against) {
    const size_t step = static_cast<size_t>(abs(stride));
    m_size =
        rows > 0 && rowBytes > 0 ? step * static_cast<size_t>(rows - 1) + static_cast<size_t>(rowBytes) : 0;
    if (m_size > kRoom) abort();
    m_begin = m_memory + m_guard + (against == Against::BackGuard ? kRoom - m_size : 0);
    memset(m_begin, kUntouched, m_size);
    return {stride < 0 && m_size > 0 ? m_begin + step * static_cast<size_t>(rows - 1) : m_begin, stride};
  }

  const uint8_t* begin() const { return m_begin; }
  uint8_t* begin() { return m_begin; }
  size_t size() const { return m_size; }

 private:
  static constexpr size_t kRoom = 256 * 1024;
  const size_t m_guard;
  uint8_t* m_memory = nullptr;
  uint8_t* m_begin = nullptr;
  size_t m_size = 0;
};
