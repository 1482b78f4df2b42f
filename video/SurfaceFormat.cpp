// Names, DirectDraw descriptions and memory layout of the pixel formats.
#include "video/SurfaceFormat.h"

#include <cstddef>

namespace {

constexpr DWORD kYuvFlags = DDPF_FOURCC | DDPF_YUV;

struct FormatEntry {
  const char* name;
  DWORD dwFlags;  // 0: no surface has this format
  DWORD dwFourCC;
  DWORD dwBitCount;
  int32_t nBytesPerPixel;  // of plane 0
};

constexpr FormatEntry kUnknown = {"QPF_Unknown", 0, 0, 0, 0};

FormatEntry Entry(uint32_t format) {
  switch (format) {
    case QPF_XRGB:
      return {"QPF_XRGB", DDPF_RGB, 0, 32, 4};
    case QPF_YUYV:
      return {"QPF_YUYV", kYuvFlags, MAKEFOURCC('Y', 'U', 'Y', '2'), 16, 2};
    case QPF_YV12:
      return {"QPF_YV12", kYuvFlags, MAKEFOURCC('Y', 'V', '1', '2'), 8, 1};
    case QPF_NV12:
      return {"QPF_NV12", kYuvFlags, MAKEFOURCC('N', 'V', '1', '2'), 8, 1};
    case QPF_D3DSurface:
      return {"QPF_D3DSurface", 0, 0, 0, 0};
    default:
      return kUnknown;
  }
}

}  // namespace

const char* FormatName(uint32_t format) {
  return Entry(format).name;
}

bool DescribePixelFormat(uint32_t format, DDPIXELFORMAT& description) {
  const FormatEntry entry = Entry(format);
  if (entry.dwFlags == 0) return false;

  description = {};
  description.dwSize = sizeof(description);
  description.dwFlags = entry.dwFlags;
  description.dwFourCC = entry.dwFourCC;
  if (entry.dwFlags == DDPF_RGB) {
    description.dwRGBBitCount = entry.dwBitCount;
    description.dwRBitMask = 0xFF0000;
    description.dwGBitMask = 0x00FF00;
    description.dwBBitMask = 0x0000FF;
  } else {
    description.dwYUVBitCount = entry.dwBitCount;
  }
  return true;
}

DDSURFACEDESC2 EmptySurfaceDesc() {
  DDSURFACEDESC2 desc = {};
  desc.dwSize = sizeof(desc);
  return desc;
}

SurfacePlacement PlacementOf(const DDSURFACEDESC2& desc) {
  const auto has = [&](DWORD capability) { return (desc.ddsCaps.dwCaps & capability) != 0 ? 1 : 0; };
  return {has(DDSCAPS_OFFSCREENPLAIN), has(DDSCAPS_LOCALVIDMEM), has(DDSCAPS_VIDEOMEMORY),
          has(DDSCAPS_SYSTEMMEMORY)};
}

bool LaySurfacePlanes(const DDSURFACEDESC2& locked, uint32_t surfaceFormat, int32_t width, int32_t height,
                      SurfacePlanes& planes) {
  const int64_t rowBytes = int64_t{width} * Entry(surfaceFormat).nBytesPerPixel;
  if (locked.lpSurface == nullptr || width <= 0 || height <= 0 || rowBytes == 0) return false;
  if (locked.lPitch < rowBytes) return false;

  auto* const base = static_cast<uint8_t*>(locked.lpSurface);
  const auto pitch = static_cast<int32_t>(locked.lPitch);
  // Not in 32 bits: the product of an absurd picture size must not wrap into the middle of the surface.
  const int64_t lumaBytes = int64_t{pitch} * height;
  planes = {};
  planes.pPlane[0] = base;
  planes.nPitch[0] = pitch;
  if (surfaceFormat == QPF_NV12) {
    planes.pPlane[1] = base + static_cast<ptrdiff_t>(lumaBytes);
    planes.nPitch[1] = pitch;
  } else if (surfaceFormat == QPF_YV12) {
    // Cr lies in front of Cb in a YV12 surface, while pictures carry Cb first.
    planes.pPlane[1] = base + static_cast<ptrdiff_t>(lumaBytes * 5 / 4);
    planes.pPlane[2] = base + static_cast<ptrdiff_t>(lumaBytes);
    planes.nPitch[1] = planes.nPitch[2] = pitch / 2;
  }
  return true;
}
