// How pixel formats are named, described to DirectDraw and laid out in a locked surface. Pure functions; any
// thread.
#pragma once

#include <cstdint>

#include "platform/DirectDraw.h"
#include "video/DecodedPicture.h"

// The name for log lines; "QPF_Unknown" for anything that is no PixelFormat.
const char* FormatName(uint32_t format);

// Fills the description with which a surface of `format` is created; false for formats that no surface has.
bool DescribePixelFormat(uint32_t format, DDPIXELFORMAT& description);

// A description with only its size set, for calls that fill it.
DDSURFACEDESC2 EmptySurfaceDesc();

// Where a surface was placed, each 0 or 1, as the log prints it.
struct SurfacePlacement {
  int bOffscreen;
  int bLocalVidMem;
  int bVideoMem;
  int bSystemMem;
};
SurfacePlacement PlacementOf(const DDSURFACEDESC2& desc);

// Where the planes of a picture lie in a locked surface; one of QPF_XRGB or QPF_YUYV has plane 0 only.
struct SurfacePlanes {
  uint8_t* pPlane[3] = {};
  int32_t nPitch[3] = {};  // bytes per row
};
// False when the surface's rows cannot hold `width` pixels or there is no memory: nothing may be written
// then.
bool LaySurfacePlanes(const DDSURFACEDESC2& locked, uint32_t surfaceFormat, int32_t width, int32_t height,
                      SurfacePlanes& planes);
