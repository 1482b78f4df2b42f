// The subset of DirectDraw 7 that the viewer uses, declared for systems without it: surfaces in memory, a
// screen per monitor, and copies that end in an X11 window or, headless, in memory. Objects are
// reference-counted; every operation may be called from any thread.
#pragma once

#include "platform/posix/ComApi.h"
#include "platform/posix/UserApi.h"

constexpr GUID IID_IDirectDraw7 = {
    0x15e65ec0, 0x3b9c, 0x11d2, {0xb9, 0x2f, 0x00, 0x60, 0x97, 0x97, 0xea, 0x5b}};

constexpr HRESULT DD_OK = 0;
constexpr HRESULT DirectDrawError(uint32_t code) {
  return static_cast<HRESULT>(0x88760000u | code);
}
constexpr HRESULT DDERR_UNSUPPORTED = static_cast<HRESULT>(0x80004001u);
constexpr HRESULT DDERR_GENERIC = static_cast<HRESULT>(0x80004005u);
constexpr HRESULT DDERR_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT DDERR_INVALIDPARAMS = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT DDERR_INVALIDCAPS = DirectDrawError(100);
constexpr HRESULT DDERR_INVALIDOBJECT = DirectDrawError(130);
constexpr HRESULT DDERR_INVALIDPIXELFORMAT = DirectDrawError(145);
constexpr HRESULT DDERR_INVALIDRECT = DirectDrawError(150);
constexpr HRESULT DDERR_SURFACEBUSY = DirectDrawError(430);
constexpr HRESULT DDERR_CANTLOCKSURFACE = DirectDrawError(435);
constexpr HRESULT DDERR_SURFACELOST = DirectDrawError(450);
constexpr HRESULT DDERR_WASSTILLDRAWING = DirectDrawError(540);
constexpr HRESULT DDERR_INVALIDDIRECTDRAWGUID = DirectDrawError(561);
constexpr HRESULT DDERR_NODIRECTDRAWHW = DirectDrawError(563);
constexpr HRESULT DDERR_NOCLIPPERATTACHED = DirectDrawError(568);
constexpr HRESULT DDERR_NOTLOCKED = DirectDrawError(584);

constexpr DWORD DDENUM_ATTACHEDSECONDARYDEVICES = 1;
constexpr DWORD DDSCL_NORMAL = 8;
constexpr DWORD DDSCL_MULTITHREADED = 0x400;
constexpr DWORD DDLOCK_WRITEONLY = 0x20;
constexpr DWORD DDLOCK_WAIT = 1;

constexpr DWORD DDSD_CAPS = 1;
constexpr DWORD DDSD_HEIGHT = 2;
constexpr DWORD DDSD_WIDTH = 4;
constexpr DWORD DDSD_PITCH = 8;
constexpr DWORD DDSD_LPSURFACE = 0x800;
constexpr DWORD DDSD_PIXELFORMAT = 0x1000;

constexpr DWORD DDSCAPS_OFFSCREENPLAIN = 0x40;
constexpr DWORD DDSCAPS_PRIMARYSURFACE = 0x200;
constexpr DWORD DDSCAPS_SYSTEMMEMORY = 0x800;
constexpr DWORD DDSCAPS_VIDEOMEMORY = 0x4000;
constexpr DWORD DDSCAPS_LOCALVIDMEM = 0x10000000;

constexpr DWORD DDPF_FOURCC = 4;
constexpr DWORD DDPF_RGB = 0x40;
constexpr DWORD DDPF_YUV = 0x200;

constexpr DWORD MAKEFOURCC(char a, char b, char c, char d) {
  return static_cast<DWORD>(static_cast<uint8_t>(a)) | static_cast<DWORD>(static_cast<uint8_t>(b)) << 8 |
         static_cast<DWORD>(static_cast<uint8_t>(c)) << 16 |
         static_cast<DWORD>(static_cast<uint8_t>(d)) << 24;
}

struct DDPIXELFORMAT {
  DWORD dwSize;
  DWORD dwFlags;
  DWORD dwFourCC;
  union {
    DWORD dwRGBBitCount;
    DWORD dwYUVBitCount;
  };
  DWORD dwRBitMask;
  DWORD dwGBitMask;
  DWORD dwBBitMask;
  DWORD dwRGBAlphaBitMask;
};

struct DDSCAPS2 {
  DWORD dwCaps;
};

// dwFlags names the fields that hold a value.
struct DDSURFACEDESC2 {
  DWORD dwSize;
  DWORD dwFlags;
  DWORD dwHeight;
  DWORD dwWidth;
  LONG lPitch;      // bytes from a row to the next
  void* lpSurface;  // the locked rectangle's top-left pixel
  DDPIXELFORMAT ddpfPixelFormat;
  DDSCAPS2 ddsCaps;
};
using LPDDSURFACEDESC2 = DDSURFACEDESC2*;
using LPRECT = RECT*;
struct DDBLTFX;

struct IDirectDrawClipper {
  virtual ULONG Release() = 0;
  virtual HRESULT SetHWnd(DWORD flags, HWND window) = 0;

 protected:
  ~IDirectDrawClipper() = default;
};
using LPDIRECTDRAWCLIPPER = IDirectDrawClipper*;

// The first two slots are what include/qxsdkp.h promises to drawing callbacks (QXSP_SURFACE); keep them
// first.
struct IDirectDrawSurface7 {
  // Gives the address and pitch of the rectangle's top-left pixel (null: the whole surface) until Unlock. One
  // lock at a time.
  virtual HRESULT Lock(LPRECT rect, LPDDSURFACEDESC2 desc, DWORD flags, HANDLE event) = 0;
  virtual HRESULT Unlock(LPRECT rect) = 0;
  virtual ULONG Release() = 0;
  virtual HRESULT GetSurfaceDesc(LPDDSURFACEDESC2 desc) = 0;
  virtual HRESULT SetClipper(LPDIRECTDRAWCLIPPER clipper) = 0;
  virtual HRESULT Restore() = 0;
  // Stretches `sourceRect` of `source` to `targetRect`; the part outside this surface is cut off, the scale
  // kept.
  virtual HRESULT Blt(LPRECT targetRect, IDirectDrawSurface7* source, LPRECT sourceRect, DWORD flags,
                      DDBLTFX* effects) = 0;

 protected:
  ~IDirectDrawSurface7() = default;
};
using LPDIRECTDRAWSURFACE7 = IDirectDrawSurface7*;

struct IDirectDraw7 {
  virtual ULONG Release() = 0;
  virtual HRESULT SetCooperativeLevel(HWND window, DWORD flags) = 0;
  virtual HRESULT CreateSurface(LPDDSURFACEDESC2 desc, LPDIRECTDRAWSURFACE7* surface, IUnknown* outer) = 0;
  virtual HRESULT CreateClipper(DWORD flags, LPDIRECTDRAWCLIPPER* clipper, IUnknown* outer) = 0;

 protected:
  ~IDirectDraw7() = default;
};
using LPDIRECTDRAW7 = IDirectDraw7*;

using LPDDENUMCALLBACKEXA = BOOL(WINAPI*)(GUID* guid, LPSTR description, LPSTR name, LPVOID context,
                                          HMONITOR monitor);
HRESULT DirectDrawEnumerateExA(LPDDENUMCALLBACKEXA callback, LPVOID context, DWORD flags);
HRESULT DirectDrawCreateEx(GUID* guid, LPVOID* object, const GUID& interfaceId, IUnknown* outer);
