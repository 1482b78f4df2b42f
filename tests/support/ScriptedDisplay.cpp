#include "tests/support/ScriptedDisplay.h"

#include <algorithm>
#include <utility>

#include "video/DecodedPicture.h"

namespace {

using enum DisplayPart;

constexpr RECT kDefaultScreen = {0, 0, 1280, 1024};
constexpr DWORD kLargestSide = 1 << 14;

[[noreturn]] void AccessViolation() {
  // An address that is never mapped; not null, which a sanitizer would report before the processor does.
  volatile uintptr_t address = 16;
  *reinterpret_cast<volatile char*>(address) = 0;
  __builtin_trap();
}

uint32_t FormatOf(const DDPIXELFORMAT& description) {
  if ((description.dwFlags & DDPF_RGB) != 0) return QPF_XRGB;
  if (description.dwFourCC == MAKEFOURCC('Y', 'U', 'Y', '2')) return QPF_YUYV;
  if (description.dwFourCC == MAKEFOURCC('Y', 'V', '1', '2')) return QPF_YV12;
  if (description.dwFourCC == MAKEFOURCC('N', 'V', '1', '2')) return QPF_NV12;
  return 0;
}

bool IsInside(const RECT& rect, const DDSURFACEDESC2& surface) {
  return rect.left >= 0 && rect.top >= 0 && rect.left < rect.right && rect.top < rect.bottom &&
         static_cast<uint32_t>(rect.right) <= surface.dwWidth &&
         static_cast<uint32_t>(rect.bottom) <= surface.dwHeight;
}

HRESULT Nothing() {
  return DD_OK;
}

}  // namespace

template <typename Effect>
HRESULT ScriptedDisplay::Call(DisplayRecord record, Effect effect) {
  bool crash = false;
  {
    const std::lock_guard lock(m_Mutex);
    for (Script& script : m_Scripts) {
      if (script.call != record.call || script.part != record.part || script.times == 0) continue;
      if (script.wait-- > 0) continue;
      --script.times;
      crash |= script.crash;
      if (FAILED(script.code)) record.result = script.code;
    }
    if (SUCCEEDED(record.result)) record.result = effect();
    m_Records.push_back(record);
  }
  if (crash) AccessViolation();
  if (FAILED(record.result)) SetLastError(kLastError);
  return record.result;
}

class ScriptedClipper final : public IDirectDrawClipper {
 public:
  ScriptedClipper(ScriptedDisplay& display, int screen) : m_Display(display), m_nScreen(screen) {
    ++m_Display.m_nObjects;
  }
  ULONG Release() override {
    --m_Display.m_nObjects;
    delete this;
    return 0;
  }
  HRESULT SetHWnd(DWORD, HWND window) override {
    return m_Display.Call(
        {.call = DisplayCall::SetHWnd, .part = Clipper, .screen = m_nScreen, .window = window}, Nothing);
  }

 private:
  ScriptedDisplay& m_Display;
  const int m_nScreen;
};

class ScriptedSurface final : public IDirectDrawSurface7 {
 public:
  ScriptedSurface(ScriptedDisplay& display, DisplayPart part, int screen, const DDSURFACEDESC2& desc)
      : m_Display(display), m_Part(part), m_nScreen(screen), m_Desc(desc) {
    m_Desc.dwSize = sizeof(m_Desc);
    m_Desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT | DDSD_PITCH;
    m_Desc.ddsCaps.dwCaps |= DDSCAPS_VIDEOMEMORY | DDSCAPS_LOCALVIDMEM;
    if (part == OffScreen) Allocate();
    ++m_Display.m_nObjects;
  }
  ULONG Release() override {
    --m_Display.m_nObjects;
    if (m_bLocked) --m_Display.m_nLocks;
    delete this;
    return 0;
  }
  HRESULT Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD flags, HANDLE) override {
    DisplayRecord record = Record(DisplayCall::Lock);
    record.flags = flags;
    record.target = rect != nullptr ? *rect : RECT{};
    return m_Display.Call(record, [=, this] {
      if (m_Display.m_LostPart == m_Part) return DDERR_SURFACELOST;
      if (m_bLocked) return DDERR_SURFACEBUSY;
      if (rect != nullptr && !IsInside(*rect, m_Desc)) return DDERR_INVALIDRECT;
      m_bLocked = true;
      ++m_Display.m_nLocks;
      *desc = m_Desc;
      desc->dwFlags |= DDSD_LPSURFACE;
      desc->lpSurface = m_Memory.data();
      return DD_OK;
    });
  }
  HRESULT Unlock(LPRECT) override {
    return m_Display.Call(Record(DisplayCall::Unlock), [this] {
      if (!std::exchange(m_bLocked, false)) return DDERR_NOTLOCKED;
      --m_Display.m_nLocks;
      m_Display.m_LastWritten = m_Memory;
      m_Display.m_nLastPitch = m_Desc.lPitch;
      return DD_OK;
    });
  }
  HRESULT GetSurfaceDesc(LPDDSURFACEDESC2 desc) override {
    return m_Display.Call(Record(DisplayCall::GetSurfaceDesc), [=, this] {
      *desc = m_Desc;
      return DD_OK;
    });
  }
  HRESULT SetClipper(LPDIRECTDRAWCLIPPER) override {
    return m_Display.Call(Record(DisplayCall::SetClipper), Nothing);
  }
  HRESULT Restore() override {
    return m_Display.Call(Record(DisplayCall::Restore), [this] {
      const bool isFound = m_Display.m_LostPart == m_Part && --m_Display.m_nRestores == 0;
      if (isFound) m_Display.m_LostPart.reset();
      return DD_OK;
    });
  }
  HRESULT Blt(LPRECT target, IDirectDrawSurface7* source, LPRECT sourceRect, DWORD, DDBLTFX*) override {
    const auto& from = *static_cast<ScriptedSurface*>(source);
    DisplayRecord record = Record(DisplayCall::Blt);
    record.target = *target;
    record.source = *sourceRect;
    return m_Display.Call(record, [&] {
      const auto& lost = m_Display.m_LostPart;
      if (lost == m_Part || lost == from.m_Part) return DDERR_SURFACELOST;
      if (m_bLocked || from.m_bLocked) return DDERR_SURFACEBUSY;
      return IsInside(*sourceRect, from.m_Desc) && !IsRectEmpty(target) ? DD_OK : DDERR_INVALIDRECT;
    });
  }

 private:
  DisplayRecord Record(DisplayCall call) const { return {.call = call, .part = m_Part, .screen = m_nScreen}; }

  // Exactly as large as the format needs with a pitch that is no multiple of the width, so that a sanitizer
  // sees the first byte outside.
  void Allocate() {
    constexpr uint32_t kBytesPerPixel[] = {0, 4, 2, 1, 1};
    const uint32_t format = FormatOf(m_Desc.ddpfPixelFormat);
    const uint32_t pitch = (m_Desc.dwWidth * kBytesPerPixel[format] + 7) / 8 * 8 + 16;
    const bool isPlanar = format == QPF_YV12 || format == QPF_NV12;
    const size_t lumaBytes = size_t{pitch} * m_Desc.dwHeight;
    m_Desc.lPitch = static_cast<LONG>(pitch);
    m_Memory.assign(isPlanar ? lumaBytes + lumaBytes / 2 : lumaBytes, 0);
  }

  ScriptedDisplay& m_Display;
  const DisplayPart m_Part;
  const int m_nScreen;
  DDSURFACEDESC2 m_Desc;
  std::vector<uint8_t> m_Memory;
  bool m_bLocked = false;
};

class ScriptedDevice final : public IDirectDraw7 {
 public:
  ScriptedDevice(ScriptedDisplay& display, int screen) : m_Display(display), m_nScreen(screen) {
    ++m_Display.m_nObjects;
  }
  ULONG Release() override {
    --m_Display.m_nObjects;
    delete this;
    return 0;
  }
  HRESULT SetCooperativeLevel(HWND, DWORD flags) override {
    return m_Display.Call(
        {.call = DisplayCall::SetCooperativeLevel, .part = Device, .screen = m_nScreen, .flags = flags},
        Nothing);
  }
  HRESULT CreateSurface(LPDDSURFACEDESC2 wanted, LPDIRECTDRAWSURFACE7* surface, IUnknown*) override {
    const bool isPrimary = (wanted->ddsCaps.dwCaps & DDSCAPS_PRIMARYSURFACE) != 0;
    const bool hasFormat = (wanted->dwFlags & DDSD_PIXELFORMAT) != 0;
    const DisplayPart part = isPrimary ? Primary : hasFormat ? OffScreen : Back;
    DDSURFACEDESC2 desc = *wanted;
    if (isPrimary) {
      const RECT screen =
          m_nScreen >= 0 ? m_Display.m_Monitors[static_cast<size_t>(m_nScreen)].monitor : kDefaultScreen;
      desc.dwWidth = static_cast<DWORD>(screen.right - screen.left);
      desc.dwHeight = static_cast<DWORD>(screen.bottom - screen.top);
    }
    if (!hasFormat) {
      desc.ddpfPixelFormat = {sizeof(DDPIXELFORMAT), DDPF_RGB, 0, {32}, 0xFF0000, 0xFF00, 0xFF, 0};
    }
    *surface = nullptr;
    return m_Display.Call({.call = DisplayCall::CreateSurface,
                           .part = part,
                           .screen = m_nScreen,
                           .width = desc.dwWidth,
                           .height = desc.dwHeight,
                           .fourCC = desc.ddpfPixelFormat.dwFourCC},
                          [&] {
                            const uint32_t format = FormatOf(desc.ddpfPixelFormat);
                            if (desc.dwWidth - 1 >= kLargestSide || desc.dwHeight - 1 >= kLargestSide)
                              return DDERR_INVALIDPARAMS;
                            if (hasFormat && (format == 0 || m_Display.m_Refused.contains(format)))
                              return DDERR_INVALIDPIXELFORMAT;
                            *surface = new ScriptedSurface(m_Display, part, m_nScreen, desc);
                            return DD_OK;
                          });
  }
  HRESULT CreateClipper(DWORD, LPDIRECTDRAWCLIPPER* clipper, IUnknown*) override {
    *clipper = nullptr;
    return m_Display.Call({.call = DisplayCall::CreateClipper, .part = Device, .screen = m_nScreen},
                          [=, this] {
                            *clipper = new ScriptedClipper(m_Display, m_nScreen);
                            return DD_OK;
                          });
  }

 private:
  ScriptedDisplay& m_Display;
  const int m_nScreen;
};

ScriptedDisplay::ScriptedDisplay(std::vector<ScriptedMonitor> monitors)
    : m_Monitors(std::move(monitors)), m_pEarlier(platform::SetDisplayDriver(this)) {}

ScriptedDisplay::~ScriptedDisplay() {
  platform::SetDisplayDriver(m_pEarlier);
}

void ScriptedDisplay::Fail(DisplayCall call, DisplayPart part, HRESULT code, int nth, int times) {
  const std::lock_guard lock(m_Mutex);
  m_Scripts.push_back({call, part, nth - 1, times, code, false});
}

void ScriptedDisplay::Crash(DisplayCall call, DisplayPart part) {
  const std::lock_guard lock(m_Mutex);
  m_Scripts.push_back({call, part, 0, 1, DD_OK, true});
}

void ScriptedDisplay::Lose(DisplayPart part, int restores) {
  const std::lock_guard lock(m_Mutex);
  m_LostPart = part;
  m_nRestores = restores;
}

void ScriptedDisplay::RefuseFormat(uint32_t pixelFormat) {
  const std::lock_guard lock(m_Mutex);
  m_Refused.insert(pixelFormat);
}

std::vector<DisplayRecord> ScriptedDisplay::Records() const {
  const std::lock_guard lock(m_Mutex);
  return m_Records;
}

std::vector<DisplayRecord> ScriptedDisplay::Records(DisplayCall call) const {
  std::vector<DisplayRecord> records = Records();
  std::erase_if(records, [&](const DisplayRecord& record) { return record.call != call; });
  return records;
}

std::vector<DisplayRecord> ScriptedDisplay::Records(DisplayCall call, DisplayPart part) const {
  std::vector<DisplayRecord> records = Records(call);
  std::erase_if(records, [&](const DisplayRecord& record) { return record.part != part; });
  return records;
}

void ScriptedDisplay::ForgetRecords() {
  const std::lock_guard lock(m_Mutex);
  m_Records.clear();
}

std::vector<uint8_t> ScriptedDisplay::LastWritten() const {
  const std::lock_guard lock(m_Mutex);
  return m_LastWritten;
}

HRESULT ScriptedDisplay::Enumerate(LPDDENUMCALLBACKEXA callback, void* context) {
  return Call({.call = DisplayCall::Enumerate, .part = Driver}, [=, this] {
    char text[] = "scripted";
    BOOL more = callback(nullptr, text, text, context, nullptr);
    for (uint32_t number = 1; more != FALSE && number <= m_Monitors.size(); ++number) {
      GUID guid = {number, 0, 0, {}};
      more = callback(&guid, text, text, context, reinterpret_cast<HMONITOR>(uintptr_t{number}));
    }
    return DD_OK;
  });
}

HRESULT ScriptedDisplay::CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) {
  // Without an identifier, the monitor at the origin.
  const auto monitor =
      std::ranges::find_if(m_Monitors, [&, number = 0u](const ScriptedMonitor& candidate) mutable {
        ++number;
        if (guid != nullptr && guid->Data1 != 0) return guid->Data1 == number;
        return candidate.monitor.left == 0 && candidate.monitor.top == 0;
      });
  const int screen = monitor == m_Monitors.end() ? -1 : static_cast<int>(monitor - m_Monitors.begin());
  *device = nullptr;
  return Call(
      {.call = DisplayCall::CreateDevice, .part = Driver, .screen = screen, .defaultDevice = guid == nullptr},
      [=, this] {
        *device = new ScriptedDevice(*this, screen);
        return DD_OK;
      });
}

BOOL ScriptedDisplay::MonitorInfo(HMONITOR monitor, MONITORINFO* info) {
  const size_t index = reinterpret_cast<uintptr_t>(monitor) - 1;
  if (index >= m_Monitors.size() || !m_Monitors[index].described) return FALSE;
  info->rcMonitor = m_Monitors[index].monitor;
  info->rcWork = m_Monitors[index].work;
  info->dwFlags = 0;
  return TRUE;
}

BOOL ScriptedDisplay::Post(HWND, UINT, WPARAM, LPARAM) {
  return SUCCEEDED(Call({.call = DisplayCall::Post, .part = Driver}, Nothing)) ? TRUE : FALSE;
}
