// Planes that end or begin at memory nobody may touch.
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
  GuardedPlane() : m_guard(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
    void* memory = mmap(nullptr, kRoom + 2 * m_guard, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) abort();
    m_room = static_cast<uint8_t*>(memory) + m_guard;
    if (mprotect(m_room, kRoom, PROT_READ | PROT_WRITE) != 0) abort();
  }
  ~GuardedPlane() { munmap(m_room - m_guard, kRoom + 2 * m_guard); }
  GuardedPlane(const GuardedPlane&) = delete;
  GuardedPlane& operator=(const GuardedPlane&) = delete;

  // Lays out `rows` rows full of a known byte. A negative stride puts the first row last in memory.
  View Place(int32_t rows, int32_t rowBytes, int32_t stride, bool atTheEnd) {
    const bool isEmpty = rows <= 0 || rowBytes <= 0;
    const size_t last = isEmpty ? 0 : static_cast<size_t>(abs(stride)) * static_cast<size_t>(rows - 1);
    const size_t size = isEmpty ? 0 : last + static_cast<size_t>(rowBytes);
    if (size > kRoom) abort();
    m_bytes = {m_room + (atTheEnd ? kRoom - size : 0), size};
    memset(m_bytes.data(), 0xA5, size);
    return {m_bytes.data() + (stride < 0 ? last : 0), stride};
  }
  // Those between the rows, too.
  std::span<uint8_t> Bytes() const { return m_bytes; }

 private:
  static constexpr size_t kRoom = 256 * 1024;
  const size_t m_guard;
  uint8_t* m_room;
  std::span<uint8_t> m_bytes;
};
