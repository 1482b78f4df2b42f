// The headless screens, their description in text, and the queue that stands for windows' messages.
#include "platform/posix/HeadlessDisplay.h"

#include <array>
#include <charconv>
#include <cstring>
#include <new>
#include <utility>

#include "platform/posix/Device.h"
#include "platform/posix/DisplayScreen.h"
#include "platform/posix/Mutex.h"
#include "platform/posix/PixelImage.h"

namespace platform {
namespace {

constexpr LONG kMaxOffset = 1'000'000;

class HeadlessScreen final : public DisplayScreen {
 public:
  HeadlessScreen(DWORD width, DWORD height) : DisplayScreen(width, height) {}

  std::unique_ptr<SurfaceMemory> AllocatePicture(size_t byteCount) override {
    return AllocateHeapMemory(byteCount);
  }
  HRESULT Present(const ScreenPicture& /*picture*/, const RECT& /*area*/, LONG /*left*/, LONG /*top*/,
                  HWND /*window*/) override {
    return DD_OK;
  }
};

class MessageQueue {
 public:
  bool Append(const MSG& message) EXCLUDES(m_Lock) {
    MutexLock lock(m_Lock);
    if (m_nCount == m_Messages.size()) return false;
    m_Messages[(m_nFirst + m_nCount) % m_Messages.size()] = message;
    ++m_nCount;
    return true;
  }

  bool TakeOldest(MSG& message) EXCLUDES(m_Lock) {
    MutexLock lock(m_Lock);
    if (m_nCount == 0) return false;
    message = m_Messages[m_nFirst];
    m_nFirst = (m_nFirst + 1) % m_Messages.size();
    --m_nCount;
    return true;
  }

 private:
  Mutex m_Lock;
  std::array<MSG, 256> m_Messages GUARDED_BY(m_Lock){};
  size_t m_nFirst GUARDED_BY(m_Lock) = 0;
  size_t m_nCount GUARDED_BY(m_Lock) = 0;
};

MessageQueue g_Messages;

// Reads a decimal number of least..most off the front of the text.
bool TakeNumber(std::string_view& text, LONG least, LONG most, LONG& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || value < least || value > most) return false;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return true;
}

bool TakeCharacter(std::string_view& text, char expected) {
  if (text.empty() || text.front() != expected) return false;
  text.remove_prefix(1);
  return true;
}

bool TakeScreen(std::string_view& text, RECT& rect) {
  LONG width;
  LONG height;
  const bool taken = TakeNumber(text, 1, kMaxImageSide, width) && TakeCharacter(text, 'x') &&
                     TakeNumber(text, 1, kMaxImageSide, height) && TakeCharacter(text, '+') &&
                     TakeNumber(text, -kMaxOffset, kMaxOffset, rect.left) && TakeCharacter(text, '+') &&
                     TakeNumber(text, -kMaxOffset, kMaxOffset, rect.top);
  if (!taken) return false;
  rect.right = rect.left + width;
  rect.bottom = rect.top + height;
  return true;
}

constexpr std::string_view kName = "headless";

}  // namespace

bool ParseScreenLayout(std::string_view layout, MonitorTable& monitors) {
  if (layout.empty()) layout = "1920x1080+0+0";
  do {
    RECT rect;
    if (!TakeScreen(layout, rect) || !monitors.Add(rect, kName.data(), kName.size())) return false;
  } while (TakeCharacter(layout, ','));
  return layout.empty();
}

HRESULT HeadlessDisplay::Enumerate(LPDDENUMCALLBACKEXA callback, void* context) {
  m_Monitors.Enumerate(callback, context);
  return DD_OK;
}

HRESULT HeadlessDisplay::CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) {
  const size_t index = m_Monitors.Find(guid);
  if (index == MonitorTable::kCapacity) return DDERR_INVALIDDIRECTDRAWGUID;
  const RECT& desktop = m_Monitors[index].rcDesktop;
  Owned<DisplayScreen> screen(new (std::nothrow) HeadlessScreen(
      static_cast<DWORD>(desktop.right - desktop.left), static_cast<DWORD>(desktop.bottom - desktop.top)));
  if (!screen) return DDERR_OUTOFMEMORY;
  *device = Device::Create(std::move(screen));
  return *device != nullptr ? DD_OK : DDERR_OUTOFMEMORY;
}

BOOL HeadlessDisplay::MonitorInfo(HMONITOR monitor, MONITORINFO* info) {
  return m_Monitors.Info(monitor, info);
}

BOOL HeadlessDisplay::Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (window == nullptr) return FALSE;
  return g_Messages.Append({window, message, wParam, lParam}) ? TRUE : FALSE;
}

BOOL HeadlessDisplay::Peek(MSG* message) {
  return message != nullptr && g_Messages.TakeOldest(*message) ? TRUE : FALSE;
}

}  // namespace platform
