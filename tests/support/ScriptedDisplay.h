// A display in memory that does what a test's script says: it records every call and can fail, lose surfaces
// or crash where told.
//
//   ScriptedDisplay display({{.monitor = {0, 0, 1920, 1080}, .work = {0, 0, 1920, 1040}}});
//   display.Fail(DisplayCall::Blt, DisplayPart::Back, DDERR_GENERIC);   // the next copy onto a back surface
//   display.Lose(DisplayPart::Primary, ScriptedDisplay::kForEver);
//
// It is the platform's display from its construction to its destruction; everything created on it must be
// released before. Unscripted calls succeed as the real ones would, and misuse is answered like there. Copies
// move no pixels. Any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

#include "platform/posix/DisplaySeam.h"

enum class DisplayCall {
  Enumerate,
  CreateDevice,
  SetCooperativeLevel,
  CreateSurface,  // on the part that it creates
  CreateClipper,
  GetSurfaceDesc,
  SetClipper,
  Lock,
  Unlock,
  Restore,
  Blt,  // on the target's part
  SetHWnd,
  Post,
};

// What a call is made on. A surface made with the display's own pixel format is a back surface.
enum class DisplayPart { Driver, Device, Primary, Back, OffScreen, Clipper };

struct ScriptedMonitor {
  RECT monitor;
  RECT work;
  bool described = true;  // false: GetMonitorInfoA fails
};

struct DisplayRecord {
  DisplayCall call;
  DisplayPart part;
  int screen = -1;  // index of the monitor; -1: the driver, or the device of a display without monitors
  HRESULT result = DD_OK;
  RECT target = {};    // Blt; Lock: the locked rectangle
  RECT source = {};    // Blt
  uint32_t width = 0;  // CreateSurface, pixels
  uint32_t height = 0;
  DWORD fourCC = 0;            // CreateSurface
  DWORD flags = 0;             // SetCooperativeLevel, Lock
  HWND window = nullptr;       // SetHWnd
  bool defaultDevice = false;  // CreateDevice without an identifier
};

class ScriptedDisplay final : public platform::DisplayDriver {
 public:
  static constexpr int kForEver = -1;
  static constexpr int kLastError = 13;  // GetLastError() after a failure or a lost surface

  // One device per monitor, after the display driver's own entry without identifier. No monitors: no devices,
  // and the default device's screen has 1280 x 1024 pixels.
  explicit ScriptedDisplay(std::vector<ScriptedMonitor> monitors);
  ~ScriptedDisplay() override;

  // The `nth` matching call from now on, and `times` in all from there, answer `code` and do nothing else.
  void Fail(DisplayCall call, DisplayPart part, HRESULT code, int nth = 1, int times = 1);
  // The next matching call ends in an access violation, after it has taken effect.
  void Crash(DisplayCall call, DisplayPart part);
  // Surfaces of this part are lost: locks, and copies to or from them, answer DDERR_SURFACELOST until
  // Restore() has been called `restores` times on such a surface.
  void Lose(DisplayPart part, int restores = 1);
  // Surfaces in this pixel format (QPF_...) cannot be created: DDERR_INVALIDPIXELFORMAT.
  void RefuseFormat(uint32_t pixelFormat);

  std::vector<DisplayRecord> Records() const;
  std::vector<DisplayRecord> Records(DisplayCall call) const;
  std::vector<DisplayRecord> Records(DisplayCall call, DisplayPart part) const;
  void ForgetRecords();

  int LiveObjects() const { return m_nObjects; }  // created and not yet released
  int LockedSurfaces() const { return m_nLocks; }
  // What lay in the last surface that was unlocked: pitch x rows, rows being 3/2 of the height for 4:2:0.
  std::vector<uint8_t> LastWritten() const;
  int32_t LastPitch() const { return m_nLastPitch; }

  // platform::DisplayDriver
  HRESULT Enumerate(LPDDENUMCALLBACKEXA callback, void* context) override;
  HRESULT CreateDevice(const GUID* guid, LPDIRECTDRAW7* device) override;
  BOOL MonitorInfo(HMONITOR monitor, MONITORINFO* info) override;
  BOOL Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam) override;
  BOOL Peek(MSG*) override { return FALSE; }

 private:
  friend class ScriptedDevice;
  friend class ScriptedSurface;
  friend class ScriptedClipper;

  struct Script {
    DisplayCall call;
    DisplayPart part;
    int wait;   // matching calls to let pass
    int times;  // calls left to which it applies
    HRESULT code;
    bool crash;
  };

  // Answers what the scripts say, else what `effect` answers under the lock; records the call, and crashes
  // holding nothing: whoever guards against it loses what the call holds.
  template <typename Effect>
  HRESULT Call(DisplayRecord record, Effect effect);

  const std::vector<ScriptedMonitor> m_Monitors;
  platform::DisplayDriver* const m_pEarlier;
  std::atomic<int> m_nObjects{0}, m_nLocks{0}, m_nLastPitch{0};

  mutable std::recursive_mutex m_Mutex;  // guards all of the following; an enumeration calls back
  std::vector<Script> m_Scripts;
  std::vector<DisplayRecord> m_Records;
  std::set<uint32_t> m_Refused;  // pixel formats
  std::optional<DisplayPart> m_LostPart;
  int m_nRestores = 0;  // that it takes to find the lost surface again
  std::vector<uint8_t> m_LastWritten;
};
