// The monitors of a display as they were when it was opened: their handles, identifiers and places on the
// desktop.
#pragma once

#include <array>
#include <cstddef>

#include "platform/posix/DirectDrawApi.h"

namespace platform {

// Filled by one thread, then constant.
class MonitorTable {
 public:
  static constexpr size_t kCapacity = 64;

  struct Monitor {
    RECT rcDesktop;
    std::array<char, 32> szName;  // cut when longer
  };

  // Ignores a monitor on the very place of an earlier one, which is a mirror of it. False when the table is
  // full.
  bool Add(const RECT& desktop, const char* name, size_t nameLength, bool preferred = false);

  size_t Count() const { return m_nCount; }
  const Monitor& operator[](size_t index) const { return m_Monitors[index]; }

  // The monitor at the desktop's origin, as everywhere on Windows; when there is none, the preferred one,
  // else the first.
  size_t PrimaryIndex() const;
  // Null and the all-zero identifier name the primary monitor. kCapacity when there is no such monitor.
  size_t Find(const GUID* guid) const;

  // Calls back without identifier and handle for the primary display driver, then for every monitor, the
  // primary one first, until the callback answers FALSE.
  void Enumerate(LPDDENUMCALLBACKEXA callback, void* context) const;
  // The work rectangle is the whole monitor.
  BOOL Info(HMONITOR monitor, MONITORINFO* info) const;

 private:
  std::array<Monitor, kCapacity> m_Monitors{};
  size_t m_nCount = 0;
  size_t m_nPreferred = 0;
};

}  // namespace platform
