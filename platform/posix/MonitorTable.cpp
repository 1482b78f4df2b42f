// Enumeration and look-up of monitors.
#include "platform/posix/MonitorTable.h"

#include <algorithm>
#include <cstring>

namespace platform {
namespace {

// The last word tells the monitors apart; the others only make the identifier ours.
GUID GuidOf(size_t index) {
  return {0x6b1d50a7,
          0x9c44,
          0x4f0e,
          {0x8e, 0x21, 0x51, 0x58, 0x53, 0x44, 0x4b, static_cast<uint8_t>(index + 1)}};
}

// Never null.
HMONITOR HandleOf(size_t index) {
  return reinterpret_cast<HMONITOR>(index + 1);
}

bool SameRect(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

}  // namespace

bool MonitorTable::Add(const RECT& desktop, const char* name, size_t nameLength, bool preferred) {
  for (size_t i = 0; i < m_nCount; ++i) {
    if (SameRect(m_Monitors[i].rcDesktop, desktop)) return true;
  }
  if (m_nCount == kCapacity) return false;
  if (preferred) m_nPreferred = m_nCount;
  Monitor& monitor = m_Monitors[m_nCount++];
  monitor.rcDesktop = desktop;
  std::memcpy(monitor.szName.data(), name, std::min(nameLength, monitor.szName.size() - 1));
  return true;
}

size_t MonitorTable::PrimaryIndex() const {
  for (size_t i = 0; i < m_nCount; ++i) {
    if (m_Monitors[i].rcDesktop.left == 0 && m_Monitors[i].rcDesktop.top == 0) return i;
  }
  return m_nPreferred;
}

size_t MonitorTable::Find(const GUID* guid) const {
  constexpr GUID kPrimary = {};
  if (guid == nullptr || std::memcmp(guid, &kPrimary, sizeof(GUID)) == 0) {
    return m_nCount != 0 ? PrimaryIndex() : kCapacity;
  }
  for (size_t i = 0; i < m_nCount; ++i) {
    const GUID candidate = GuidOf(i);
    if (std::memcmp(guid, &candidate, sizeof(GUID)) == 0) return i;
  }
  return kCapacity;
}

void MonitorTable::Enumerate(LPDDENUMCALLBACKEXA callback, void* context) const {
  if (m_nCount == 0) return;
  char primaryText[] = "Primary Display Driver";
  char driver[] = "display";
  if (!callback(nullptr, primaryText, driver, context, nullptr)) return;

  const size_t primary = PrimaryIndex();
  for (size_t step = 0; step < m_nCount; ++step) {
    // The primary one, then those before it, then those behind it.
    size_t index = step;
    if (step == 0) {
      index = primary;
    } else if (step <= primary) {
      index = step - 1;
    }
    GUID guid = GuidOf(index);
    std::array<char, 32> name = m_Monitors[index].szName;
    if (!callback(&guid, name.data(), driver, context, HandleOf(index))) return;
  }
}

BOOL MonitorTable::Info(HMONITOR monitor, MONITORINFO* info) const {
  if (monitor == nullptr || info == nullptr || info->cbSize != sizeof(*info)) return FALSE;
  const size_t index = reinterpret_cast<uintptr_t>(monitor) - 1;
  if (index >= m_nCount) return FALSE;
  info->rcMonitor = m_Monitors[index].rcDesktop;
  info->rcWork = info->rcMonitor;
  info->dwFlags = index == PrimaryIndex() ? MONITORINFOF_PRIMARY : 0;
  return TRUE;
}

}  // namespace platform
