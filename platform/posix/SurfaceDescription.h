// Between pixel kinds and the descriptions that DirectDraw exchanges.
#pragma once

#include <optional>

#include "platform/posix/DirectDrawApi.h"
#include "platform/posix/PixelImage.h"

namespace platform {

DDPIXELFORMAT DescribePixelKind(PixelKind kind);

// The kind that a pixel format asks for; nothing when surfaces have no such format.
std::optional<PixelKind> PixelKindOf(const DDPIXELFORMAT& format);

// Fills size, pixel format and capabilities. False when the caller's record is null or of another size.
bool DescribeSurface(DDSURFACEDESC2* desc, PixelKind kind, DWORD width, DWORD height, DWORD capabilities);

}  // namespace platform
