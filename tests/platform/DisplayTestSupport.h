// What the display's tests share: descriptions, owners of what they create, and the enumeration as a list.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/DirectDraw.h"
#include "platform/Owned.h"

// Sets a variable, null for unset. QXSDKP_DISPLAY counts from the next enumeration on.
inline void SetVariable(const char* name, const char* value) {
  value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}
inline void ChooseDisplay(const char* value) {
  SetVariable("QXSDKP_DISPLAY", value);
}

struct EnumeratedDevice {
  bool hasGuid;
  GUID guid;
  std::string description;
  HMONITOR monitor;
  MONITORINFO info;
};

inline HRESULT EnumerateDevices(std::vector<EnumeratedDevice>& devices) {
  devices.clear();
  const auto add = [](GUID* guid, LPSTR description, LPSTR, LPVOID context, HMONITOR monitor) -> BOOL {
    EnumeratedDevice device = {guid != nullptr, guid != nullptr ? *guid : GUID{}, description, monitor, {}};
    device.info.cbSize = sizeof(device.info);
    GetMonitorInfoA(monitor, &device.info);
    static_cast<std::vector<EnumeratedDevice>*>(context)->push_back(device);
    return TRUE;
  };
  return DirectDrawEnumerateExA(add, &devices, DDENUM_ATTACHEDSECONDARYDEVICES);
}

inline Owned<IDirectDraw7> CreateDevice(GUID* guid) {
  void* object = nullptr;
  DirectDrawCreateEx(guid, &object, IID_IDirectDraw7, nullptr);
  return Owned<IDirectDraw7>(static_cast<IDirectDraw7*>(object));
}

inline DDSURFACEDESC2 EmptyDesc(DWORD caps = 0) {
  DDSURFACEDESC2 desc = {};
  desc.dwSize = sizeof(desc);
  desc.dwFlags = DDSD_CAPS;
  desc.ddsCaps.dwCaps = caps;
  return desc;
}
inline DDSURFACEDESC2 OffScreenDesc(DWORD width, DWORD height) {
  DDSURFACEDESC2 desc = EmptyDesc(DDSCAPS_OFFSCREENPLAIN);
  desc.dwFlags |= DDSD_WIDTH | DDSD_HEIGHT;
  desc.dwWidth = width;
  desc.dwHeight = height;
  return desc;
}
inline DDSURFACEDESC2 FourCCDesc(DWORD width, DWORD height, DWORD fourCC) {
  DDSURFACEDESC2 desc = OffScreenDesc(width, height);
  desc.dwFlags |= DDSD_PIXELFORMAT;
  desc.ddpfPixelFormat = {sizeof(DDPIXELFORMAT), DDPF_FOURCC | DDPF_YUV, fourCC, {0}, 0, 0, 0, 0};
  return desc;
}

inline Owned<IDirectDrawSurface7> CreateSurface(IDirectDraw7& device, DDSURFACEDESC2 desc) {
  Owned<IDirectDrawSurface7> surface;
  device.CreateSurface(&desc, surface.Receive(), nullptr);
  return surface;
}

// A device with what a viewer keeps for each screen. Check `back` for success.
struct TestScreen {
  Owned<IDirectDraw7> device;
  Owned<IDirectDrawSurface7> primary, back;
  Owned<IDirectDrawClipper> clipper;
  DDSURFACEDESC2 desc = EmptyDesc();

  explicit TestScreen(GUID* guid) : device(CreateDevice(guid)) {
    if (!device || FAILED(device->SetCooperativeLevel(nullptr, DDSCL_NORMAL | DDSCL_MULTITHREADED))) return;
    primary = CreateSurface(*device.Get(), EmptyDesc(DDSCAPS_PRIMARYSURFACE));
    if (!primary || FAILED(primary->GetSurfaceDesc(&desc))) return;
    if (FAILED(device->CreateClipper(0, clipper.Receive(), nullptr))) return;
    primary->SetClipper(clipper.Get());
    back = CreateSurface(*device.Get(), OffScreenDesc(desc.dwWidth, desc.dwHeight));
  }
  HRESULT Show(RECT rect) { return primary->Blt(&rect, back.Get(), &rect, 0, nullptr); }
};
