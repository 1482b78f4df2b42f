// Writes decoded pictures into surface memory: walks the rows of a picture and hands them to the kernels.
#include "video/PixelConversion.h"

#include "video/PixelKernels.h"

namespace {

// Row addresses, for strides that may be negative and planes beyond 2 GB.
template <typename Byte>
Byte* Row(Byte* plane, int64_t row, int64_t stride) {
  return plane + static_cast<intptr_t>(row * stride);
}

void CopyRows(uint8_t* target, int32_t pitch, const uint8_t* source, int32_t stride, int32_t width,
              int64_t rows) {
  if (width <= 0 || rows <= 0) return;
  const PixelKernels& kernels = ActivePixelKernels();
  const auto rowBytes = static_cast<size_t>(width);
  if (pitch == width && stride == width)
    return kernels.Copy(target, source, rowBytes * static_cast<size_t>(rows));
  for (int64_t row = 0; row < rows; row++) {
    kernels.Copy(Row(target, row, pitch), Row(source, row, stride), rowBytes);
  }
}

// One row of 32-bit pixels, at least two. The last column of an odd width has no chroma sample of its own and
// takes the one to its left.
void RowToRGB32(const PixelKernels& kernels, const PixelRow& row, int32_t width) {
  kernels.ToRGB32(row, width & ~1);
  if (width % 2 == 0) return;
  const intptr_t last = width - 1;
  PixelToRGB32(row.target + 4 * last, row.luma[last], row.cb[last / 2 - 1], row.cr[last / 2 - 1]);
}

// A picture one pixel wide or high, which has no chroma samples at all.
void GreyToRGB32(uint8_t* target, int64_t pitch, const uint8_t* luma, int32_t stride, int32_t width,
                 int32_t height) {
  for (int32_t row = 0; row < height; row++) {
    for (intptr_t x = 0; x < width; x++)
      PixelToRGB32(Row(target, row, pitch) + 4 * x, Row(luma, row, stride)[x], 128, 128);
  }
}

// One tile of the half-size picture on the stack, so that it is converted while it is in the first-level
// cache and no memory can be missing.
class HalfTile {
 public:
  static constexpr int32_t kWidth = 1024;  // a multiple of 32: whole vector steps

  // The next tile's width. A single column is never left over: it could not see the chroma sample to its
  // left.
  static int32_t NextWidth(int32_t remaining) { return remaining <= kWidth + 1 ? remaining : kWidth; }

  uint8_t* Luma(int row) { return m_luma[row]; }
  uint8_t* Cb() { return m_cb; }
  uint8_t* Cr() { return m_cr; }

 private:
  alignas(32) uint8_t m_luma[2][kWidth + 1];
  alignas(32) uint8_t m_cb[kWidth / 2];
  alignas(32) uint8_t m_cr[kWidth / 2];
};

struct PlanarPicture {
  const uint8_t* luma;
  const uint8_t* cb;
  const uint8_t* cr;
  int32_t lumaStride;
  int32_t cbStride;
  int32_t crStride;
  int32_t width;
  int32_t height;
};

// Averages `width` half-size pixels from column `x` of half-size rows `row` and `row` + 1 (or of one row,
// when it is the last) into the tile.
void FillTile(const PixelKernels& kernels, HalfTile& tile, const PlanarPicture& picture, int32_t x,
              int32_t row, int32_t width) {
  const int32_t rows = picture.height / 2 - row < 2 ? 1 : 2;
  for (int32_t i = 0; i < rows; i++) {
    const uint8_t* upper = Row(picture.luma, 2 * (static_cast<int64_t>(row) + i), picture.lumaStride) +
                           2 * static_cast<intptr_t>(x);
    kernels.Halve(tile.Luma(i), upper, upper + picture.lumaStride, width);
  }
  // A last row without a partner has no chroma row of its own and takes the one above.
  const int32_t lastChromaRow = picture.height / 4 - 1;
  const int32_t chromaRow = row / 2 < lastChromaRow ? row / 2 : lastChromaRow;
  const uint8_t* cb = Row(picture.cb, 2 * static_cast<int64_t>(chromaRow), picture.cbStride) + x;
  const uint8_t* cr = Row(picture.cr, 2 * static_cast<int64_t>(chromaRow), picture.crStride) + x;
  kernels.Halve(tile.Cb(), cb, cb + picture.cbStride, width / 2);
  kernels.Halve(tile.Cr(), cr, cr + picture.crStride, width / 2);
}

// The half-size picture without chroma samples: at most three source pixels wide or high.
void GreyToRGB32Half(uint8_t* target, int32_t pitch, const PlanarPicture& picture) {
  for (int32_t row = 0; row < picture.height / 2; row++) {
    const uint8_t* upper = Row(picture.luma, 2 * static_cast<int64_t>(row), picture.lumaStride);
    for (int32_t x = 0; x < picture.width / 2; x++) {
      uint8_t mean;
      kPlainPixelKernels.Halve(&mean, upper + 2 * static_cast<intptr_t>(x),
                               upper + picture.lumaStride + 2 * static_cast<intptr_t>(x), 1);
      PixelToRGB32(Row(target, row, pitch) + 4 * static_cast<intptr_t>(x), mean, 128, 128);
    }
  }
}

}  // namespace

void ConvertToSurface(const uint8_t* const sourcePlanes[3], const uint32_t sourceStrides[3],
                      uint32_t sourceFormat, uint8_t* const targetPlanes[3], const int32_t targetPitches[3],
                      uint32_t surfaceFormat, int32_t width, int32_t height, int32_t step) {
  if (sourceFormat != QPF_YV12) return;
  const bool half = step == 2;
  const int32_t strides[3] = {static_cast<int32_t>(sourceStrides[0]), static_cast<int32_t>(sourceStrides[1]),
                              static_cast<int32_t>(sourceStrides[2])};
  const uint8_t* const luma = sourcePlanes[0];
  const uint8_t* const cb = sourcePlanes[1];
  const uint8_t* const cr = sourcePlanes[2];
  switch (surfaceFormat) {
    case QPF_XRGB:
      if (half) {
        PlanarToRGB32Half(targetPlanes[0], targetPitches[0], luma, cb, cr, strides[0], strides[1], strides[2],
                          width, height);
      } else {
        PlanarToRGB32(targetPlanes[0], targetPitches[0], luma, cb, cr, strides[0], strides[1], width, height,
                      false);
      }
      break;
    case QPF_YUYV:
      (half ? PlanarToYUY2Half : PlanarToYUY2)(targetPlanes[0], targetPitches[0], luma, cb, cr, strides[0],
                                               strides[1], strides[2], width, height);
      break;
    case QPF_YV12:
      (half ? PlanarHalf : PlanarCopy)(targetPlanes, targetPitches, sourcePlanes, strides, width, height);
      break;
    default:
      break;
  }
}

void PlanarToRGB32(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb, const uint8_t* cr,
                   int32_t lumaStride, int32_t chromaStride, int32_t width, int32_t height, bool bottomUp) {
  if (width <= 0 || height <= 0) return;
  uint8_t* const firstRow = bottomUp ? Row(target, height - 1, pitch) : target;
  const int64_t rowStep = bottomUp ? -static_cast<int64_t>(pitch) : pitch;
  if (width < 2 || height < 2) return GreyToRGB32(firstRow, rowStep, luma, lumaStride, width, height);

  const PixelKernels& kernels = ActivePixelKernels();
  for (int32_t row = 0; row < height; row++) {
    // An odd height's last row has no chroma row of its own and takes the one above.
    const int32_t chromaRow = row / 2 < height / 2 ? row / 2 : row / 2 - 1;
    const PixelRow pixels = {Row(firstRow, row, rowStep), Row(luma, row, lumaStride),
                             Row(cb, chromaRow, chromaStride), Row(cr, chromaRow, chromaStride)};
    RowToRGB32(kernels, pixels, width);
  }
}

void PlanarToRGB32Half(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb,
                       const uint8_t* cr, int32_t lumaStride, int32_t cbStride, int32_t crStride,
                       int32_t width, int32_t height) {
  if (width < 2 || height < 2) return;
  const PlanarPicture picture = {luma, cb, cr, lumaStride, cbStride, crStride, width, height};
  if (width < 4 || height < 4) return GreyToRGB32Half(target, pitch, picture);

  const PixelKernels& kernels = ActivePixelKernels();
  HalfTile tile;
  for (int32_t row = 0; row < height / 2; row += 2) {
    const int rows = height / 2 - row < 2 ? 1 : 2;
    for (int32_t x = 0, tileWidth; x < width / 2; x += tileWidth) {
      tileWidth = HalfTile::NextWidth(width / 2 - x);
      FillTile(kernels, tile, picture, x, row, tileWidth);
      for (int i = 0; i < rows; i++) {
        uint8_t* const pixels = Row(target, row + i, pitch) + 4 * static_cast<intptr_t>(x);
        RowToRGB32(kernels, {pixels, tile.Luma(i), tile.Cb(), tile.Cr()}, tileWidth);
      }
    }
  }
}

void PlanarToYUY2(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb, const uint8_t* cr,
                  int32_t lumaStride, int32_t cbStride, int32_t crStride, int32_t width, int32_t height) {
  if (width < 16) return;
  const PixelKernels& kernels = ActivePixelKernels();
  const int32_t rows = height / 2 * 2;
  for (int32_t row = 0; row < rows; row++) {
    const PixelRow pixels = {Row(target, row, pitch), Row(luma, row, lumaStride), Row(cb, row / 2, cbStride),
                             Row(cr, row / 2, crStride)};
    kernels.ToYUY2(pixels, width & ~15);
  }
}

void PlanarToYUY2Half(uint8_t* target, int32_t pitch, const uint8_t* luma, const uint8_t* cb,
                      const uint8_t* cr, int32_t lumaStride, int32_t cbStride, int32_t crStride,
                      int32_t width, int32_t height) {
  const PlanarPicture picture = {luma, cb, cr, lumaStride, cbStride, crStride, width, height};
  const int32_t blocksWidth = width / 2 & ~15;
  const PixelKernels& kernels = ActivePixelKernels();
  HalfTile tile;
  for (int32_t pair = 0; pair < height / 4; pair++) {
    const int32_t row = 2 * pair;
    for (int32_t x = 0, tileWidth; x < blocksWidth; x += tileWidth) {
      tileWidth = HalfTile::NextWidth(blocksWidth - x);
      FillTile(kernels, tile, picture, x, row, tileWidth);
      for (int i = 0; i < 2; i++) {
        uint8_t* const pixels = Row(target, row + i, pitch) + 2 * static_cast<intptr_t>(x);
        kernels.ToYUY2({pixels, tile.Luma(i), tile.Cb(), tile.Cr()}, tileWidth);
      }
    }
  }
}

void PlanarCopy(uint8_t* const targetPlanes[3], const int32_t targetPitches[3],
                const uint8_t* const sourcePlanes[3], const int32_t sourceStrides[3], int32_t width,
                int32_t height) {
  CopyRows(targetPlanes[0], targetPitches[0], sourcePlanes[0], sourceStrides[0], width, height);
  for (int i = 1; i < 3; i++) {
    CopyRows(targetPlanes[i], targetPitches[i], sourcePlanes[i], sourceStrides[i], width / 2, height / 2);
  }
}

void PlanarHalf(uint8_t* const targetPlanes[3], const int32_t targetPitches[3],
                const uint8_t* const sourcePlanes[3], const int32_t sourceStrides[3], int32_t width,
                int32_t height) {
  HalveBox(targetPlanes[0], targetPitches[0], sourcePlanes[0], sourceStrides[0], width, height);
  for (int i = 1; i < 3; i++) {
    HalveBox(targetPlanes[i], targetPitches[i], sourcePlanes[i], sourceStrides[i], width / 2, height / 2);
  }
}

void HalveBox(uint8_t* target, int32_t targetStride, const uint8_t* source, int32_t sourceStride,
              int32_t sourceWidth, int32_t sourceHeight) {
  if (sourceWidth < 2) return;
  const PixelKernels& kernels = ActivePixelKernels();
  for (int32_t row = 0; row < sourceHeight / 2; row++) {
    const uint8_t* upper = Row(source, 2 * static_cast<int64_t>(row), sourceStride);
    kernels.Halve(Row(target, row, targetStride), upper, upper + sourceStride, sourceWidth / 2);
  }
}

void NV12Copy(const uint8_t* source, int32_t sourceStride, uint8_t* target, int32_t pitch, int32_t width,
              int32_t height) {
  CopyRows(target, pitch, source, sourceStride, width, static_cast<int64_t>(height) * 3 / 2);
}

void NV12ToPlanar(const uint8_t* source, int32_t sourceStride, uint8_t* luma, uint8_t* cb, uint8_t* cr,
                  int32_t pitch, int32_t width, int32_t height) {
  CopyRows(luma, pitch, source, sourceStride, width, height);
  if (width < 2 || height < 2) return;
  const PixelKernels& kernels = ActivePixelKernels();
  const uint8_t* pairs = Row(source, height, sourceStride);
  for (int32_t row = 0; row < height / 2; row++) {
    kernels.Split(Row(cb, row, pitch / 2), Row(cr, row, pitch / 2), Row(pairs, row, sourceStride), width / 2);
  }
}
