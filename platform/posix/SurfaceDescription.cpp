// Pixel formats and surface descriptions.
#include "platform/posix/SurfaceDescription.h"

namespace platform {
namespace {

constexpr DWORD kYuvFlags = DDPF_FOURCC | DDPF_YUV;
constexpr DWORD kYv12 = MAKEFOURCC('Y', 'V', '1', '2');
constexpr DWORD kYuy2 = MAKEFOURCC('Y', 'U', 'Y', '2');
constexpr DWORD kNv12 = MAKEFOURCC('N', 'V', '1', '2');
constexpr DWORD kRed = 0xFF0000;
constexpr DWORD kGreen = 0x00FF00;
constexpr DWORD kBlue = 0x0000FF;

DDPIXELFORMAT FourCC(DWORD code, DWORD bits) {
  DDPIXELFORMAT format = {};
  format.dwSize = sizeof(format);
  format.dwFlags = kYuvFlags;
  format.dwFourCC = code;
  format.dwYUVBitCount = bits;
  return format;
}

}  // namespace

DDPIXELFORMAT DescribePixelKind(PixelKind kind) {
  switch (kind) {
    case PixelKind::kYv12:
      return FourCC(kYv12, 8);
    case PixelKind::kYuy2:
      return FourCC(kYuy2, 16);
    case PixelKind::kNv12:
      return FourCC(kNv12, 8);
    case PixelKind::kRgb32:
      break;
  }
  DDPIXELFORMAT format = {};
  format.dwSize = sizeof(format);
  format.dwFlags = DDPF_RGB;
  format.dwRGBBitCount = 32;
  format.dwRBitMask = kRed;
  format.dwGBitMask = kGreen;
  format.dwBBitMask = kBlue;
  return format;
}

std::optional<PixelKind> PixelKindOf(const DDPIXELFORMAT& format) {
  if ((format.dwFlags & DDPF_FOURCC) != 0) {
    if (format.dwFourCC == kYv12) return PixelKind::kYv12;
    if (format.dwFourCC == kYuy2) return PixelKind::kYuy2;
    if (format.dwFourCC == kNv12) return PixelKind::kNv12;
    return std::nullopt;
  }
  const bool isRgb32 = (format.dwFlags & DDPF_RGB) != 0 && format.dwRGBBitCount == 32 &&
                       format.dwRBitMask == kRed && format.dwGBitMask == kGreen && format.dwBBitMask == kBlue;
  if (isRgb32) return PixelKind::kRgb32;
  return std::nullopt;
}

bool DescribeSurface(DDSURFACEDESC2* desc, PixelKind kind, DWORD width, DWORD height, DWORD capabilities) {
  if (desc == nullptr || desc->dwSize != sizeof(*desc)) return false;
  *desc = {};
  desc->dwSize = sizeof(*desc);
  desc->dwFlags = DDSD_CAPS | DDSD_WIDTH | DDSD_HEIGHT | DDSD_PIXELFORMAT;
  desc->dwWidth = width;
  desc->dwHeight = height;
  desc->ddpfPixelFormat = DescribePixelKind(kind);
  desc->ddsCaps.dwCaps = capabilities;
  return true;
}

}  // namespace platform
