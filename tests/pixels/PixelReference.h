// The conversions once more, pixel by pixel from their formulas, to compare with.
#pragma once

#include <cstdint>

struct View {
  uint8_t* data;
  int32_t stride;

  uint8_t* Row(int32_t row) const { return data + static_cast<intptr_t>(row) * stride; }
};

// source: luma, Cb, Cr; for NV12 one plane with the chroma rows behind the luma rows. target: as many planes
// as the format has.
using Conversion = void (*)(const View* source, const View* target, int32_t width, int32_t height);

void ReferenceRGB32(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceRGB32BottomUp(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceRGB32Half(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceYUY2(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceYUY2Half(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceCopy(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceHalf(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceNV12Copy(const View* source, const View* target, int32_t width, int32_t height);
void ReferenceNV12ToPlanar(const View* source, const View* target, int32_t width, int32_t height);
