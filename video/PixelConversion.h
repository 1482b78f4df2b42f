// Writes decoded pictures into surface memory: colour conversion, packing, plane copies and halving. No
// locks, no allocation; any thread.
//
// Nothing outside width x height pixels of source or destination is read or written; chroma planes have
// width / 2 x height / 2, rounded down. A size of 0 or less does nothing. Strides and pitches are the bytes
// from one row to the next and may be negative; planes may have any alignment, and must not overlap. Planes
// and sizes are the caller's word: nothing is checked against null or short planes.
#pragma once

#include <cstdint>

#include "video/DecodedPicture.h"

// Writes a picture into a locked surface. Handles source format QPF_YV12 into QPF_XRGB, QPF_YUYV (plane 0 of
// the destination) or QPF_YV12 (three); any other pair writes nothing. `step` 2: the half-size variant;
// anything else: full size. width, height: of the source, pixels.
void ConvertToSurface(const uint8_t* const sourcePlanes[3], const uint32_t sourceStrides[3],
                      uint32_t sourceFormat, uint8_t* const targetPlanes[3], const int32_t targetPitches[3],
                      uint32_t surfaceFormat, int32_t width, int32_t height, int32_t step);

// Planar 4:2:0 to 32-bit pixels, ITU-R BT.601 limited range in 6-bit fixed point: bytes blue, green, red, 0.
// `bottomUp`: the first picture row goes to the last row of the destination. The last column of an odd width
// and the last row of an odd height have no chroma sample of their own: they take their neighbour's. A
// picture one pixel wide or high has no chroma at all and comes out grey.
void PlanarToRGB32(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb, const uint8_t* cr,
                   int32_t lumaStride, int32_t chromaStride, int32_t width, int32_t height, bool bottomUp);
// The same at half width and height, averaged first (tile by tile on the stack, so no scratch picture can be
// missing).
void PlanarToRGB32Half(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb,
                       const uint8_t* cr, int32_t lumaStride, int32_t cbStride, int32_t crStride,
                       int32_t width, int32_t height);

// Planar 4:2:0 to Y0 Cb Y1 Cr; both rows of a pair get the same chroma. Whole blocks of 16 pixels and whole
// pairs of rows only; the rest of the destination stays as it is.
void PlanarToYUY2(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb, const uint8_t* cr,
                  int32_t lumaStride, int32_t cbStride, int32_t crStride, int32_t width, int32_t height);
void PlanarToYUY2Half(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb,
                      const uint8_t* cr, int32_t lumaStride, int32_t cbStride, int32_t crStride,
                      int32_t width, int32_t height);

// Planar 4:2:0 to planar 4:2:0; chroma planes are width / 2 x height / 2.
void PlanarCopy(uint8_t* const targetPlanes[3], const int32_t targetPitches[3],
                const uint8_t* const sourcePlanes[3], const int32_t sourceStrides[3], int32_t width,
                int32_t height);
// The same at half width and height, averaged over 2 x 2.
void PlanarHalf(uint8_t* const targetPlanes[3], const int32_t targetPitches[3],
                const uint8_t* const sourcePlanes[3], const int32_t sourceStrides[3], int32_t width,
                int32_t height);
// One plane at half size: each output byte is the mean of 2 x 2, rounded down.
void HalveBox(uint8_t* target, int32_t targetStride, const uint8_t* source, int32_t sourceStride,
              int32_t sourceWidth, int32_t sourceHeight);

// NV12 to NV12, height * 3 / 2 rows of `width` bytes: the chroma rows follow the luma rows directly on both
// sides.
void NV12Copy(const uint8_t* source, int32_t sourceStride, uint8_t* target, int32_t pitch, int32_t width,
              int32_t height);
// NV12 to planar; the chroma planes have the pitch pitch / 2.
void NV12ToPlanar(const uint8_t* source, int32_t sourceStride, uint8_t* luma, uint8_t* cb, uint8_t* cr,
                  int32_t pitch, int32_t width, int32_t height);
