// A decoded picture, as decoders fill it and viewers consume it.
#pragma once

#include <cstdint>

// Pixel formats of pictures and surfaces.
enum PixelFormat : uint32_t {
  QPF_XRGB = 1,        // 32 bit: bytes blue, green, red, 0
  QPF_YUYV = 2,        // packed YUY2
  QPF_YV12 = 3,        // planar 4:2:0: luma, Cb, Cr
  QPF_NV12 = 4,        // luma, then interleaved Cb/Cr at half height
  QPF_D3DSurface = 5,  // a name only
};

// The planes belong to the decoder and stay valid until its next DecodeFrameVideo or its end. Plane 0 may be
// null although bHasImage is true, when memory ran out: look before touching.
struct DecodedPicture {
  bool bHasImage = false;
  uint32_t nWidth = 0;  // pixels
  uint32_t nHeight = 0;
  uint32_t nPixelFormat = 0;
  uint8_t* pPlane[4] = {};
  uint32_t nStride[4] = {};     // bytes per row
  uint32_t nPlaneSize[4] = {};  // bytes
};
