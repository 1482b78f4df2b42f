// Every conversion, with every instruction set of this CPU, against the formulas: same bytes, and none
// outside the picture.
#include "video/PixelConversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "tests/support/GuardedPlane.h"
#include "video/PixelKernels.h"

namespace {

// source: luma, Cb, Cr; for NV12 one plane with the chroma rows behind the luma rows. target: as many planes
// as the format has.
using Conversion = void (*)(const View* source, const View* target, int32_t width, int32_t height);

template <bool bottomUp>
void ReferenceRGB32(const View* source, const View* target, int32_t width, int32_t height) {
  const bool hasChroma = width > 1 && height > 1;
  const auto clamped = [](int32_t value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); };
  for (int32_t row = 0; row < height; row++) {
    for (int32_t x = 0; x < width; x++) {
      const auto chroma = [&](const View& plane) {
        return plane.Row(std::min(row / 2, height / 2 - 1))[std::min(x / 2, width / 2 - 1)] - 128;
      };
      const int32_t y = 74 * (source[0].Row(row)[x] - 16);
      const int32_t u = hasChroma ? chroma(source[1]) : 0;
      const int32_t v = hasChroma ? chroma(source[2]) : 0;
      uint8_t* pixel = target->Row(bottomUp ? height - 1 - row : row) + 4 * x;
      pixel[0] = clamped((y + 129 * u) >> 6);
      pixel[1] = clamped((y - (25 * u + 52 * v)) >> 6);
      pixel[2] = clamped((y + 102 * v) >> 6);
      pixel[3] = 0;
    }
  }
}

void ReferenceYUY2(const View* source, const View* target, int32_t width, int32_t height) {
  for (int32_t row = 0; row < height / 2 * 2; row++) {
    for (int32_t x = 0; x < width / 16 * 16; x++) {
      target->Row(row)[2 * x] = source[0].Row(row)[x];
      target->Row(row)[2 * x + 1] = source[x % 2 == 0 ? 1 : 2].Row(row / 2)[x / 2];
    }
  }
}

void ReferenceCopy(const View* source, const View* target, int32_t width, int32_t height) {
  for (int32_t plane = 0; plane < 3; plane++) {
    for (int32_t row = 0; row < (plane == 0 ? height : height / 2); row++)
      std::copy_n(source[plane].Row(row), plane == 0 ? width : width / 2, target[plane].Row(row));
  }
}

// Converts by way of a whole half-size picture.
template <Conversion convert>
void ReferenceHalf(const View* source, const View* target, int32_t width, int32_t height) {
  std::vector<uint8_t> scratch(static_cast<size_t>(width * height) * 3 / 8 + 1);
  const View half[3] = {{scratch.data(), width / 2},
                        {scratch.data() + width * height / 4, width / 4},
                        {scratch.data() + width * height * 5 / 16, width / 4}};
  for (int32_t plane = 0; plane < 3; plane++) {
    const int32_t divisor = plane == 0 ? 2 : 4;
    for (int32_t row = 0; row < height / divisor; row++) {
      const uint8_t* upper = source[plane].Row(2 * row);
      const uint8_t* lower = source[plane].Row(2 * row + 1);
      for (int32_t x = 0; x < width / divisor; x++)
        half[plane].Row(row)[x] =
            static_cast<uint8_t>((upper[2 * x] + upper[2 * x + 1] + lower[2 * x] + lower[2 * x + 1]) / 4);
    }
  }
  convert(half, target, width / 2, height / 2);
}

void ReferenceNV12Copy(const View* source, const View* target, int32_t width, int32_t height) {
  for (int32_t row = 0; row < height * 3 / 2; row++)
    std::copy_n(source->Row(row), width, target->Row(row));
}

void ReferenceNV12ToPlanar(const View* source, const View* target, int32_t width, int32_t height) {
  for (int32_t row = 0; row < height; row++)
    std::copy_n(source->Row(row), width, target->Row(row));
  for (int32_t i = 0; i < height / 2 * (width / 2 * 2); i++) {
    const int32_t row = i / (width / 2 * 2), x = i % (width / 2 * 2);
    target[1 + x % 2].Row(row)[x / 2] = source->Row(height + row)[x];
  }
}

template <uint32_t surfaceFormat, int32_t step, uint32_t sourceFormat = QPF_YV12>
void ToSurface(const View* s, const View* t, int32_t width, int32_t height) {
  const uint8_t* const planes[3] = {s[0].data, s[1].data, s[2].data};
  uint32_t strides[3];
  int32_t pitches[3];
  for (int i = 0; i < 3; i++) {
    strides[i] = static_cast<uint32_t>(s[i].stride);
    pitches[i] = t[i].stride;
  }
  uint8_t* const targets[3] = {t[0].data, t[1].data, t[2].data};
  ConvertToSurface(planes, strides, sourceFormat, targets, pitches, surfaceFormat, width, height, step);
}

struct Operation {
  const char* name;
  Conversion convert, reference;
  int32_t bytesPerPixel, step;  // of the target; 0 bytes: three planes
  bool fromNV12 = false;
} const kOperations[] = {
    {"RGB32", ToSurface<QPF_XRGB, 1>, ReferenceRGB32<false>, 4, 1},
    {"RGB32BottomUp",
     [](const View* s, const View* t, int32_t w, int32_t h) {
       PlanarToRGB32(t->data, t->stride, s[0].data, s[1].data, s[2].data, s[0].stride, s[1].stride, w, h,
                     true);
     },
     ReferenceRGB32<true>, 4, 1},
    {"RGB32Half", ToSurface<QPF_XRGB, 2>, ReferenceHalf<ReferenceRGB32<false>>, 4, 2},
    {"YUY2", ToSurface<QPF_YUYV, 0>, ReferenceYUY2, 2, 1},
    {"YUY2Half", ToSurface<QPF_YUYV, 2>, ReferenceHalf<ReferenceYUY2>, 2, 2},
    {"Copy", ToSurface<QPF_YV12, 3>, ReferenceCopy, 0, 1},
    {"Half", ToSurface<QPF_YV12, 2>, ReferenceHalf<ReferenceCopy>, 0, 2},
    {"NV12Copy",
     [](const View* s, const View* t, int32_t w, int32_t h) {
       NV12Copy(s->data, s->stride, t->data, t->stride, w, h);
     },
     ReferenceNV12Copy, 1, 1, true},
    {"NV12ToPlanar",
     [](const View* s, const View* t, int32_t w, int32_t h) {
       NV12ToPlanar(s->data, s->stride, t[0].data, t[1].data, t[2].data, t[0].stride, w, h);
     },
     ReferenceNV12ToPlanar, 0, 1, true},
};

class PixelConversion : public testing::TestWithParam<PixelInstructionSet> {
 protected:
  void SetUp() override {
    const PixelKernels* kernels = PixelKernelsFor(GetParam());
    if (kernels == nullptr) GTEST_SKIP() << "this CPU has no such instructions";
    UsePixelKernels(*kernels);
  }

  // Converts a picture of noise into planes full of a known byte, both in guarded memory, and compares every
  // byte of the planes. `padding`: bytes between rows. `upsideDown`: negative strides on both sides.
  void Check(const Operation& operation, int32_t width, int32_t height, int32_t padding, bool upsideDown,
             bool atTheEnd) {
    static constexpr std::array<uint8_t, 8> kCorners = {0, 1, 16, 127, 128, 235, 254, 255};
    const int32_t sign = upsideDown ? -1 : 1;
    View source[3] = {}, target[3] = {}, expected[3] = {};
    for (int i = 0; i < (operation.fromNV12 ? 1 : 3); i++) {
      const int32_t rowBytes = i == 0 ? width : width / 2;
      const int32_t rows = operation.fromNV12 ? height * 3 / 2 : i == 0 ? height : height / 2;
      // Full-size RGB knows one stride for both chroma planes.
      const bool hasOwnStride = i == 2 && (operation.bytesPerPixel != 4 || operation.step == 2);
      const int32_t stride = sign * (rowBytes + (hasOwnStride ? 2 : 1) * padding);
      source[i] = m_source[i].Place(rows, rowBytes, stride, atTheEnd);
      for (uint8_t& byte : m_source[i].Bytes()) {
        const auto value = static_cast<uint32_t>(m_random()) >> 4;
        byte = value % 2 == 0 ? kCorners[value / 2 % 8] : static_cast<uint8_t>(value / 2);
      }
    }
    const int planes = operation.bytesPerPixel == 0 ? 3 : 1;
    for (int i = 0; i < planes; i++) {
      const int32_t divisor = operation.step * (i == 0 ? 1 : 2);
      const int32_t rows = operation.bytesPerPixel == 1 ? height * 3 / 2 : height / divisor;
      const int32_t rowBytes = std::max(operation.bytesPerPixel, 1) * (width / divisor);
      const bool halfPitch = operation.fromNV12 && i > 0;
      const int32_t pitch = halfPitch ? target[0].stride / 2 : sign * (rowBytes + padding);
      target[i] = m_target[i].Place(rows, rowBytes, pitch, atTheEnd);
      expected[i] = m_expected[i].Place(rows, rowBytes, pitch, atTheEnd);
    }
    operation.convert(source, target, width, height);
    operation.reference(source, expected, width, height);
    for (int i = 0; i < planes; i++)
      ASSERT_TRUE(std::ranges::equal(m_target[i].Bytes(), m_expected[i].Bytes()))
          << operation.name << " " << width << "x" << height << " padding " << padding << " plane " << i;
  }

  std::minstd_rand m_random{20};
  GuardedPlane m_source[3], m_target[3], m_expected[3];
};

TEST_P(PixelConversion, GivesTheFormulasBytesAtEverySizeAndTouchesNothingElse) {
  std::vector<int32_t> widths(131);
  std::iota(widths.begin(), widths.end(), 0);
  // Where the half-size conversions go from one tile to the next.
  widths.insert(widths.end(), {2046, 2047, 2048, 2049, 2050, 2051, 2052, 2080, 2082, 4096, 4098, 4100, 4131});
  for (const Operation& operation : kOperations) {
    for (int32_t width : widths) {
      for (int32_t height : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11}) {
        for (int32_t padding : {0, 13}) {
          const bool upsideDown = (width + height + padding) % 3 == 0;
          ASSERT_NO_FATAL_FAILURE(Check(operation, width, height, padding, upsideDown, true));
          ASSERT_NO_FATAL_FAILURE(Check(operation, width, height, padding, !upsideDown, false));
        }
      }
    }
  }
}

// All 2^24 triples: 16-bit vectors saturate where the formulas do not, and that must never show.
TEST_P(PixelConversion, EveryTripleOfLumaAndChromaHasTheExactColour) {
  constexpr int32_t kWidth = 512;   // all Cr, two pixels each
  constexpr int32_t kHeight = 256;  // all luma values
  std::vector<uint8_t> luma(kWidth * kHeight), cb(kWidth / 2), cr(kWidth / 2);
  for (size_t i = 0; i < luma.size(); i++)
    luma[i] = static_cast<uint8_t>(i / kWidth);
  std::iota(cr.begin(), cr.end(), uint8_t{0});
  std::vector<uint8_t> pixels(luma.size() * 4), expected(luma.size() * 4);
  const View source[3] = {{luma.data(), kWidth}, {cb.data(), 0}, {cr.data(), 0}};
  const View target[3] = {{pixels.data(), 4 * kWidth}}, reference = {expected.data(), 4 * kWidth};
  const auto pixel = [&](int y, int v) { return &pixels[static_cast<size_t>(y * kWidth + 2 * v) * 4]; };
  for (int value = 0; value < 256; value++) {
    std::fill(cb.begin(), cb.end(), static_cast<uint8_t>(value));
    ToSurface<QPF_XRGB, 1>(source, target, kWidth, kHeight);
    ReferenceRGB32<false>(source, &reference, kWidth, kHeight);
    ASSERT_EQ(pixels, expected) << "Cb " << value;
    if (value != 90) continue;
    EXPECT_EQ(std::vector<int>(pixel(81, 240), pixel(81, 240) + 4), (std::vector{0, 0, 253, 0})) << "red";
  }
}

TEST_P(PixelConversion, WhatIsNoneReadsAndWritesNothing) {
  const View none[3] = {{nullptr, 64}, {nullptr, 32}, {nullptr, 32}};
  for (const Operation& operation : kOperations) {
    for (int32_t size : {0, -1, -2, -64, INT32_MIN}) {
      operation.convert(none, none, size, 64);
      operation.convert(none, none, 64, size);
    }
  }
  for (const Conversion convert :
       {ToSurface<0, 1>, ToSurface<QPF_NV12, 2>, ToSurface<5, 1>, ToSurface<QPF_YV12, 1, QPF_NV12>,
        ToSurface<QPF_XRGB, 2, QPF_XRGB>, ToSurface<QPF_YUYV, 1, QPF_YUYV>, ToSurface<QPF_YV12, 1, 0>})
    convert(none, none, 64, 64);
}

INSTANTIATE_TEST_SUITE_P(InstructionSets, PixelConversion,
                         testing::Values(PixelInstructionSet::Plain, PixelInstructionSet::Sse2,
                                         PixelInstructionSet::Avx2));

}  // namespace
