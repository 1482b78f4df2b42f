// What the display's tests share: descriptions, owners of what they create, and the enumeration as a list.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/DirectDraw.h"
#include "platform/Owned.h"

// Sets QXSDKP_DISPLAY, null for unset; it counts from the next enumeration on.
inline void ChooseDisplay(const char* value) {
  if (value != nullptr) {
    setenv("QXSDKP_DISPLAY", value, 1);
  } else {
    unsetenv("QXSDKP_DISPLAY");
  }
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

inline DDSURFACEDESC2 EmptyDesc() {
  DDSURFACEDESC2 desc = {};
  desc.dwSize = sizeof(desc);
  return desc;
}

inline DDSURFACEDESC2 PrimaryDesc() {
  DDSURFACEDESC2 desc = EmptyDesc();
  desc.dwFlags = DDSD_CAPS;
  desc.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE;
  return desc;
}

inline DDSURFACEDESC2 OffScreenDesc(DWORD width, DWORD height) {
  DDSURFACEDESC2 desc = EmptyDesc();
  desc.dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT;
  desc.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
  desc.dwWidth = width;
  desc.dwHeight = height;
  return desc;
}

inline DDSURFACEDESC2 FourCCDesc(DWORD width, DWORD height, DWORD fourCC) {
  DDSURFACEDESC2 desc = OffScreenDesc(width, height);
  desc.dwFlags |= DDSD_PIXELFORMAT;
  desc.ddpfPixelFormat.dwSize = sizeof(desc.ddpfPixelFormat);
  desc.ddpfPixelFormat.dwFlags = DDPF_FOURCC | DDPF_YUV;
  desc.ddpfPixelFormat.dwFourCC = fourCC;
  return desc;
}

inline Owned<IDirectDrawSurface7> CreateSurface(IDirectDraw7& device, DDSURFACEDESC2 desc) {
  Owned<IDirectDrawSurface7> surface;
  device.CreateSurface(&desc, surface.Receive(), nullptr);
  return surface;
}

// A device with what a viewer keeps for each screen.
struct TestScreen {
  Owned<IDirectDraw7> device;
  Owned<IDirectDrawSurface7> primary;
  Owned<IDirectDrawSurface7> back;
  Owned<IDirectDrawClipper> clipper;
  DDSURFACEDESC2 desc = EmptyDesc();

  // Check `back` for success.
  explicit TestScreen(GUID* guid) : device(CreateDevice(guid)) {
    if (!device || FAILED(device->SetCooperativeLevel(nullptr, DDSCL_NORMAL | DDSCL_MULTITHREADED))) return;
    primary = CreateSurface(*device.Get(), PrimaryDesc());
    if (!primary || FAILED(primary->GetSurfaceDesc(&desc))) return;
    if (FAILED(device->CreateClipper(0, clipper.Receive(), nullptr))) return;
    primary->SetClipper(clipper.Get());
    back = CreateSurface(*device.Get(), OffScreenDesc(desc.dwWidth, desc.dwHeight));
  }

  HRESULT Show(RECT rect) { return primary->Blt(&rect, back.Get(), &rect, 0, nullptr); }
};
