// The copies between surfaces in memory: conversion to 32-bit RGB and stretching, both by libyuv.
#pragma once

#include <cstddef>
#include <memory>

#include "platform/posix/DirectDrawApi.h"
#include "platform/posix/PixelImage.h"
#include "platform/posix/SurfaceMemory.h"

namespace platform {

// Work space of one copy at a time; grows to the largest copy and stays.
class StretchScratch {
 public:
  // At least `byteCount` bytes, content undefined; null when there is no memory.
  uint8_t* Reserve(size_t byteCount);

 private:
  std::unique_ptr<SurfaceMemory> m_pMemory;
  size_t m_nBytes = 0;
};

// Copies `sourceRect` of the source, stretched, to `targetRect` of the target, which is of kind kRgb32; the
// part beyond the target's edges is cut off. Colours follow ITU-R BT.601 in limited range; unused bytes
// become 255 for sources that are not RGB.
//
// A chroma sample counts only when all of its 2x2 pixels lie in `sourceRect`: writers fill no sample for half
// a block, so a last odd row or column takes its neighbour's colour.
//
// DDERR_INVALIDRECT when a rectangle is empty or the source's leaves the source; DDERR_UNSUPPORTED for
// another kind of target; DDERR_OUTOFMEMORY. Copies without stretching need no scratch memory (but for kYuy2
// from an odd column).
HRESULT StretchCopy(const PixelImage& source, const RECT& sourceRect, const PixelImage& target,
                    const RECT& targetRect, StretchScratch& scratch);

}  // namespace platform
