// Devices, surfaces and clippers of the scripted display.
#include "tests/support/ScriptedDisplay.h"

#include <algorithm>
#include <utility>

#include "video/DecodedPicture.h"

namespace {

constexpr RECT kDefaultScreen = {0, 0, 1280, 1024};

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

bool IsInside(const RECT& rect, uint32_t width, uint32_t height) {
  return rect.left >= 0 && rect.top >= 0 && rect.left < rect.right && rect.top < rect.bottom &&
         static_cast<uint32_t>(rect.right) <= width && static_cast<uint32_t>(rect.bottom) <= height;
}

}  // namespace

class ScriptedClipper final : public IDirectDrawClipper {
 public:
  ScriptedClipper(ScriptedDisplay& display, int screen) : m_Display(display), m_nScreen(screen) {
    m_Display.Count(1, 0);
  }

  ULONG Release() override {
    m_Display.Finish({}, {.call = DisplayCall::Release, .part = DisplayPart::Clipper, .screen = m_nScreen});
    m_Display.Count(-1, 0);
    delete this;
    return 0;
  }
  HRESULT SetHWnd(DWORD, HWND window) override {
    return m_Display.Finish(
        m_Display.Judge(DisplayCall::SetHWnd, DisplayPart::Clipper),
        {.call = DisplayCall::SetHWnd, .part = DisplayPart::Clipper, .screen = m_nScreen, .window = window});
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
    if (part == DisplayPart::OffScreen) Allocate();
    m_Display.Count(1, 0);
  }

  ULONG Release() override {
    m_Display.Finish({}, {.call = DisplayCall::Release, .part = m_Part, .screen = m_nScreen});
    m_Display.Count(-1, m_bLocked ? -1 : 0);
    delete this;
    return 0;
  }

  HRESULT Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD flags, HANDLE) override {
    auto verdict = m_Display.Judge(DisplayCall::Lock, m_Part);
    DisplayRecord record = Record(DisplayCall::Lock);
    record.flags = flags;
    record.target = rect != nullptr ? *rect : RECT{};
    if (SUCCEEDED(verdict.code)) {
      if (m_Display.IsLost(m_Part)) {
        verdict.code = DDERR_SURFACELOST;
      } else if (m_bLocked) {
        verdict.code = DDERR_SURFACEBUSY;
      } else if (rect != nullptr && !IsInside(*rect, m_Desc.dwWidth, m_Desc.dwHeight)) {
        verdict.code = DDERR_INVALIDRECT;
      } else {
        m_bLocked = true;
        m_Display.Count(0, 1);
        *desc = m_Desc;
        desc->dwFlags |= DDSD_LPSURFACE;
        desc->lpSurface = m_Memory.data();
      }
    }
    return m_Display.Finish(verdict, record);
  }

  HRESULT Unlock(LPRECT) override {
    auto verdict = m_Display.Judge(DisplayCall::Unlock, m_Part);
    if (SUCCEEDED(verdict.code)) {
      if (!m_bLocked) {
        verdict.code = DDERR_NOTLOCKED;
      } else {
        m_bLocked = false;
        m_Display.Count(0, -1);
        const std::lock_guard lock(m_Display.m_Mutex);
        m_Display.m_LastWritten = m_Memory;
        m_Display.m_nLastPitch = m_Desc.lPitch;
      }
    }
    return m_Display.Finish(verdict, Record(DisplayCall::Unlock));
  }

  HRESULT GetSurfaceDesc(LPDDSURFACEDESC2 desc) override {
    const auto verdict = m_Display.Judge(DisplayCall::GetSurfaceDesc, m_Part);
    if (SUCCEEDED(verdict.code)) *desc = m_Desc;
    return m_Display.Finish(verdict, Record(DisplayCall::GetSurfaceDesc));
  }

  HRESULT SetClipper(LPDIRECTDRAWCLIPPER) override {
    return m_Display.Finish(m_Display.Judge(DisplayCall::SetClipper, m_Part),
                            Record(DisplayCall::SetClipper));
  }

  HRESULT Restore() override {
    const auto verdict = m_Display.Judge(DisplayCall::Restore, m_Part);
    if (SUCCEEDED(verdict.code)) {
      const std::lock_guard lock(m_Display.m_Mutex);
      if (m_Display.m_LostPart == m_Part && m_Display.m_nRestores > 0 && --m_Display.m_nRestores == 0)
        m_Display.m_LostPart.reset();
    }
    return m_Display.Finish(verdict, Record(DisplayCall::Restore));
  }

  HRESULT Blt(LPRECT target, IDirectDrawSurface7* source, LPRECT sourceRect, DWORD flags, DDBLTFX*) override {
    auto verdict = m_Display.Judge(DisplayCall::Blt, m_Part);
    const auto& from = *static_cast<ScriptedSurface*>(source);
    DisplayRecord record = Record(DisplayCall::Blt);
    record.flags = flags;
    record.target = *target;
    record.source = *sourceRect;
    if (SUCCEEDED(verdict.code)) {
      if (m_Display.IsLost(m_Part) || m_Display.IsLost(from.m_Part)) {
        verdict.code = DDERR_SURFACELOST;
      } else if (m_bLocked || from.m_bLocked) {
        verdict.code = DDERR_SURFACEBUSY;
      } else if (!IsInside(*sourceRect, from.m_Desc.dwWidth, from.m_Desc.dwHeight) || IsRectEmpty(target)) {
        verdict.code = DDERR_INVALIDRECT;
      }
    }
    return m_Display.Finish(verdict, record);
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
    m_Display.Count(1, 0);
  }

  ULONG Release() override {
    m_Display.Finish({}, {.call = DisplayCall::Release, .part = DisplayPart::Device, .screen = m_nScreen});
    m_Display.Count(-1, 0);
    delete this;
    return 0;
  }

  HRESULT SetCooperativeLevel(HWND window, DWORD flags) override {
    return m_Display.Finish(m_Display.Judge(DisplayCall::SetCooperativeLevel, DisplayPart::Device),
                            {.call = DisplayCall::SetCooperativeLevel,
                             .part = DisplayPart::Device,
                             .screen = m_nScreen,
                             .flags = flags,
                             .window = window});
  }

  HRESULT CreateSurface(LPDDSURFACEDESC2 wanted, LPDIRECTDRAWSURFACE7* surface, IUnknown*) override {
    const bool isPrimary = (wanted->ddsCaps.dwCaps & DDSCAPS_PRIMARYSURFACE) != 0;
    const bool hasFormat = (wanted->dwFlags & DDSD_PIXELFORMAT) != 0;
    const DisplayPart part = isPrimary   ? DisplayPart::Primary
                             : hasFormat ? DisplayPart::OffScreen
                                         : DisplayPart::Back;
    DDSURFACEDESC2 desc = *wanted;
    if (isPrimary) {
      const RECT screen = m_Display.ScreenRect(m_nScreen);
      desc.dwWidth = static_cast<DWORD>(screen.right - screen.left);
      desc.dwHeight = static_cast<DWORD>(screen.bottom - screen.top);
    }
    if (!hasFormat) {
      desc.ddpfPixelFormat = {.dwSize = sizeof(DDPIXELFORMAT),
                              .dwFlags = DDPF_RGB,
                              .dwFourCC = 0,
                              .dwRGBBitCount = 32,
                              .dwRBitMask = 0xFF0000,
                              .dwGBitMask = 0xFF00,
                              .dwBBitMask = 0xFF,
                              .dwRGBAlphaBitMask = 0};
    }

    auto verdict = m_Display.Judge(DisplayCall::CreateSurface, part);
    constexpr DWORD kLargest = 1 << 14;
    *surface = nullptr;
    if (SUCCEEDED(verdict.code)) {
      if (desc.dwWidth - 1 >= kLargest || desc.dwHeight - 1 >= kLargest) {
        verdict.code = DDERR_INVALIDPARAMS;
      } else if (hasFormat && m_Display.IsRefused(FormatOf(desc.ddpfPixelFormat))) {
        verdict.code = DDERR_INVALIDPIXELFORMAT;
      } else {
        *surface = new ScriptedSurface(m_Display, part, m_nScreen, desc);
      }
    }
    return m_Display.Finish(verdict, {.call = DisplayCall::CreateSurface,
                                      .part = part,
                                      .screen = m_nScreen,
                                      .width = desc.dwWidth,
                                      .height = desc.dwHeight,
                                      .format = desc.ddpfPixelFormat});
  }

  HRESULT CreateClipper(DWORD, LPDIRECTDRAWCLIPPER* clipper, IUnknown*) override {
    const auto verdict = m_Display.Judge(DisplayCall::CreateClipper, DisplayPart::Device);
    *clipper = SUCCEEDED(verdict.code) ? new ScriptedClipper(m_Display, m_nScreen) : nullptr;
    return m_Display.Finish(
        verdict, {.call = DisplayCall::CreateClipper, .part = DisplayPart::Device, .screen = m_nScreen});
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

void ScriptedDisplay::Crash(DisplayCall call, DisplayPart part, int nth) {
  const std::lock_guard lock(m_Mutex);
  m_Scripts.push_back({call, part, nth - 1, 1, DD_OK, true});
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

bool ScriptedDisplay::IsRefused(uint32_t pixelFormat) const {
  const std::lock_guard lock(m_Mutex);
  return pixelFormat == 0 || m_Refused.contains(pixelFormat);
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

int ScriptedDisplay::LiveObjects() const {
  const std::lock_guard lock(m_Mutex);
  return m_nObjects;
}

int ScriptedDisplay::LockedSurfaces() const {
  const std::lock_guard lock(m_Mutex);
  return m_nLocks;
}

std::vector<uint8_t> ScriptedDisplay::LastWritten() const {
  const std::lock_guard lock(m_Mutex);
  return m_LastWritten;
}

int32_t ScriptedDisplay::LastPitch() const {
  const std::lock_guard lock(m_Mutex);
  return m_nLastPitch;
}

HRESULT ScriptedDisplay::Enumerate(LPDDENUMCALLBACKEXA callback, void* context) {
  const Verdict verdict = Judge(DisplayCall::Enumerate, DisplayPart::Driver);
  if (SUCCEEDED(verdict.code)) {
    char text[] = "scripted";
    bool more = callback(nullptr, text, text, context, nullptr) != FALSE;
    for (size_t index = 0; more && index < m_Monitors.size(); ++index) {
      GUID guid = {.Data1 = static_cast<uint32_t>(index + 1), .Data2 = 0, .Data3 = 0, .Data4 = {}};
      more = callback(&guid, text, text, context, reinterpret_cast<HMONITOR>(index + 1)) != FALSE;
    }
  }
  return Finish(verdict, {.call = DisplayCall::Enumerate, .part = DisplayPart::Driver});
}

HRESULT ScriptedDisplay::CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) {
  const Verdict verdict = Judge(DisplayCall::CreateDevice, DisplayPart::Driver);
  int screen = -1;
  if (guid != nullptr && guid->Data1 != 0) {
    screen = static_cast<int>(guid->Data1) - 1;
  } else {
    const auto primary = std::find_if(
        m_Monitors.begin(), m_Monitors.end(),
        [](const ScriptedMonitor& monitor) { return monitor.monitor.left == 0 && monitor.monitor.top == 0; });
    if (primary != m_Monitors.end()) screen = static_cast<int>(primary - m_Monitors.begin());
  }
  *device = SUCCEEDED(verdict.code) ? new ScriptedDevice(*this, screen) : nullptr;
  return Finish(verdict, {.call = DisplayCall::CreateDevice,
                          .part = DisplayPart::Driver,
                          .screen = screen,
                          .defaultDevice = guid == nullptr});
}

BOOL ScriptedDisplay::MonitorInfo(HMONITOR monitor, MONITORINFO* info) {
  Verdict verdict = Judge(DisplayCall::MonitorInfo, DisplayPart::Driver);
  const size_t index = reinterpret_cast<uintptr_t>(monitor) - 1;
  if (SUCCEEDED(verdict.code) && (index >= m_Monitors.size() || !m_Monitors[index].described))
    verdict.code = DDERR_GENERIC;
  if (SUCCEEDED(verdict.code)) {
    info->rcMonitor = m_Monitors[index].monitor;
    info->rcWork = m_Monitors[index].work;
    info->dwFlags = 0;
  }
  return SUCCEEDED(Finish(verdict, {.call = DisplayCall::MonitorInfo, .part = DisplayPart::Driver}));
}

BOOL ScriptedDisplay::Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  const Verdict verdict = Judge(DisplayCall::Post, DisplayPart::Driver);
  if (SUCCEEDED(verdict.code)) {
    const std::lock_guard lock(m_Mutex);
    m_Messages.push_back({window, message, wParam, lParam});
  }
  return SUCCEEDED(
      Finish(verdict, {.call = DisplayCall::Post, .part = DisplayPart::Driver, .window = window}));
}

BOOL ScriptedDisplay::Peek(MSG* message) {
  const std::lock_guard lock(m_Mutex);
  if (m_Messages.empty()) return FALSE;
  *message = m_Messages.front();
  m_Messages.pop_front();
  return TRUE;
}

ScriptedDisplay::Verdict ScriptedDisplay::Judge(DisplayCall call, DisplayPart part) {
  const std::lock_guard lock(m_Mutex);
  Verdict verdict;
  for (Script& script : m_Scripts) {
    if (script.call != call || script.part != part || script.times == 0) continue;
    if (script.wait > 0) {
      --script.wait;
      continue;
    }
    if (script.times > 0) --script.times;
    if (script.crash) verdict.crash = true;
    if (FAILED(script.code)) verdict.code = script.code;
  }
  return verdict;
}

HRESULT ScriptedDisplay::Finish(const Verdict& verdict, DisplayRecord record) {
  record.result = verdict.code;
  {
    const std::lock_guard lock(m_Mutex);
    m_Records.push_back(record);
  }
  if (verdict.crash)
    AccessViolation();  // holding nothing: whoever guards against it loses what the call holds
  if (FAILED(verdict.code)) SetLastError(kLastError);
  return verdict.code;
}

bool ScriptedDisplay::IsLost(DisplayPart part) const {
  const std::lock_guard lock(m_Mutex);
  return m_LostPart == part;
}

void ScriptedDisplay::Count(int objects, int locks) {
  const std::lock_guard lock(m_Mutex);
  m_nObjects += objects;
  m_nLocks += locks;
}

RECT ScriptedDisplay::ScreenRect(int screen) const {
  return screen >= 0 ? m_Monitors[static_cast<size_t>(screen)].monitor : kDefaultScreen;
}
