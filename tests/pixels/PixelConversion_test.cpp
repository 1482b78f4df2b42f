// Every conversion, with every instruction set of this CPU, against the formulas: same bytes, and none
// outside the picture.
#include "video/PixelConversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <vector>

#include "tests/pixels/GuardedPlane.h"
#include "tests/pixels/PixelReference.h"
#include "video/PixelKernels.h"

namespace {

struct Shape {
  int32_t rows;
  int32_t rowBytes;
};

// What a conversion reads and writes. One Cb/Cr stride for both, or target chroma at half the luma pitch,
// where the function knows no other.
struct Operation {
  const char* name;
  bool fromNV12;
  bool oneChromaStride;
  std::vector<Shape> (*targets)(int32_t width, int32_t height);
  Conversion convert;
  Conversion reference;
};

std::vector<Shape> Planes420(int32_t width, int32_t height) {
  return {{height, width}, {height / 2, width / 2}, {height / 2, width / 2}};
}

struct Planar {
  const uint8_t* planes[3];
  int32_t strides[3];
};
Planar Source(const View* views) {
  return {{views[0].data, views[1].data, views[2].data}, {views[0].stride, views[1].stride, views[2].stride}};
}
template <auto Function>
void Packed(const View* s, const View* t, int32_t width, int32_t height) {
  Function(t->data, t->stride, s[0].data, s[1].data, s[2].data, s[0].stride, s[1].stride, s[2].stride, width,
           height);
}
template <auto Function>
void ToPlanes(const View* s, const View* t, int32_t width, int32_t height) {
  const Planar source = Source(s);
  uint8_t* const planes[3] = {t[0].data, t[1].data, t[2].data};
  const int32_t pitches[3] = {t[0].stride, t[1].stride, t[2].stride};
  Function(planes, pitches, source.planes, source.strides, width, height);
}
template <bool bottomUp>
void ToRGB32(const View* s, const View* t, int32_t width, int32_t height) {
  PlanarToRGB32(t->data, t->stride, s[0].data, s[1].data, s[2].data, s[0].stride, s[1].stride, width, height,
                bottomUp);
}

const Operation kOperations[] = {
    {"RGB32", false, true,
     [](int32_t w, int32_t h) {
       return std::vector<Shape>{{h, 4 * w}};
     },
     ToRGB32<false>, ReferenceRGB32},
    {"RGB32BottomUp", false, true,
     [](int32_t w, int32_t h) {
       return std::vector<Shape>{{h, 4 * w}};
     },
     ToRGB32<true>, ReferenceRGB32BottomUp},
    {"RGB32Half", false, false,
     [](int32_t w, int32_t h) {
       return std::vector<Shape>{{h / 2, 4 * (w / 2)}};
     },
     Packed<PlanarToRGB32Half>, ReferenceRGB32Half},
    {"YUY2", false, false,
     [](int32_t w, int32_t h) {
       return std::vector<Shape>{{h, 2 * w}};
     },
     Packed<PlanarToYUY2>, ReferenceYUY2},
    {"YUY2Half", false, false,
     [](int32_t w, int32_t h) {
       return std::vector<Shape>{{h / 2, 2 * (w / 2)}};
     },
     Packed<PlanarToYUY2Half>, ReferenceYUY2Half},
    {"Copy", false, false, Planes420, ToPlanes<PlanarCopy>, ReferenceCopy},
    {"Half", false, false, [](int32_t w, int32_t h) { return Planes420(w / 2, h / 2); }, ToPlanes<PlanarHalf>,
     ReferenceHalf},
    {"NV12Copy", true, false,
     [](int32_t w, int32_t h) {
       return std::vector<Shape>{{h * 3 / 2, w}};
     },
     [](const View* s, const View* t, int32_t w, int32_t h) {
       NV12Copy(s->data, s->stride, t->data, t->stride, w, h);
     },
     ReferenceNV12Copy},
    {"NV12ToPlanar", true, true, Planes420,
     [](const View* s, const View* t, int32_t w, int32_t h) {
       NV12ToPlanar(s->data, s->stride, t[0].data, t[1].data, t[2].data, t[0].stride, w, h);
     },
     ReferenceNV12ToPlanar},
};

// Half of the bytes at the ends and steps of the value range.
void FillWithNoise(GuardedPlane& plane, std::minstd_rand& random) {
  static constexpr std::array<uint8_t, 8> kCorners = {0, 1, 16, 127, 128, 235, 254, 255};
  for (size_t i = 0; i < plane.size(); i++) {
    const auto value = static_cast<uint32_t>(random()) >> 4;
    plane.begin()[i] = value % 2 == 0 ? kCorners[value / 2 % 8] : static_cast<uint8_t>(value / 2);
  }
}

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
             GuardedPlane::Against against) {
    const int32_t sign = upsideDown ? -1 : 1;
    View source[3], target[3], expected[3];
    const std::vector<Shape> sourceShapes =
        operation.fromNV12 ? std::vector<Shape>{{height * 3 / 2, width}} : Planes420(width, height);
    for (size_t i = 0; i < sourceShapes.size(); i++) {
      const int32_t more = i == 2 && !operation.oneChromaStride ? 2 * padding : padding;
      const int32_t stride = sign * (sourceShapes[i].rowBytes + more);
      source[i] = m_source[i].Place(sourceShapes[i].rows, sourceShapes[i].rowBytes, stride, against);
      FillWithNoise(m_source[i], m_random);
    }
    const std::vector<Shape> targetShapes = operation.targets(width, height);
    for (size_t i = 0; i < targetShapes.size(); i++) {
      const bool halfPitch = operation.fromNV12 && i > 0;
      const int32_t pitch = halfPitch ? target[0].stride / 2 : sign * (targetShapes[i].rowBytes + padding);
      target[i] = m_target[i].Place(targetShapes[i].rows, targetShapes[i].rowBytes, pitch, against);
      expected[i] = m_expected[i].Place(targetShapes[i].rows, targetShapes[i].rowBytes, pitch, against);
    }

    operation.convert(source, target, width, height);
    operation.reference(source, expected, width, height);

    for (size_t i = 0; i < targetShapes.size(); i++) {
      ASSERT_TRUE(
          std::equal(m_target[i].begin(), m_target[i].begin() + m_target[i].size(), m_expected[i].begin()))
          << operation.name << " " << width << "x" << height << " padding " << padding << " plane " << i;
    }
  }

  std::minstd_rand m_random{20};
  GuardedPlane m_source[3], m_target[3], m_expected[3];
};

TEST_P(PixelConversion, GivesTheFormulasBytesAtEverySizeAndTouchesNothingElse) {
  std::vector<int32_t> widths(131);
  for (int32_t width = 0; width <= 130; width++)
    widths[static_cast<size_t>(width)] = width;
  // Where the half-size conversions go from one tile to the next.
  widths.insert(widths.end(), {2046, 2047, 2048, 2049, 2050, 2051, 2052, 2080, 2082, 4096, 4098, 4100, 4131});
  for (const Operation& operation : kOperations) {
    for (int32_t width : widths) {
      for (int32_t height : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11}) {
        for (int32_t padding : {0, 13}) {
          const bool upsideDown = (width + height + padding) % 3 == 0;
          ASSERT_NO_FATAL_FAILURE(
              Check(operation, width, height, padding, upsideDown, GuardedPlane::Against::BackGuard));
          ASSERT_NO_FATAL_FAILURE(
              Check(operation, width, height, padding, !upsideDown, GuardedPlane::Against::FrontGuard));
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
  for (size_t i = 0; i < cr.size(); i++)
    cr[i] = static_cast<uint8_t>(i);
  std::vector<uint8_t> pixels(luma.size() * 4), expected(luma.size() * 4);
  const View source[3] = {{luma.data(), kWidth}, {cb.data(), 0}, {cr.data(), 0}};
  const View target = {pixels.data(), 4 * kWidth};
  const View reference = {expected.data(), 4 * kWidth};
  for (int value = 0; value < 256; value++) {
    std::fill(cb.begin(), cb.end(), static_cast<uint8_t>(value));
    ToRGB32<false>(source, &target, kWidth, kHeight);
    ReferenceRGB32(source, &reference, kWidth, kHeight);
    ASSERT_EQ(pixels, expected) << "Cb " << value;
  }
}

TEST_P(PixelConversion, KnownColoursComeOut) {
  struct {
    uint8_t luma, cb, cr;
    std::array<uint8_t, 4> pixel;
  } const cases[] = {{128, 128, 128, {129, 129, 129, 0}}, {16, 128, 128, {0, 0, 0, 0}},
                     {235, 128, 128, {253, 253, 253, 0}}, {255, 255, 128, {255, 226, 255, 0}},
                     {81, 90, 240, {0, 0, 253, 0}},   // studio red
                     {145, 54, 34, {0, 254, 0, 0}}};  // studio green
  for (const auto& c : cases) {
    const std::vector<uint8_t> luma(32 * 2, c.luma), cb(16, c.cb), cr(16, c.cr);
    std::vector<std::array<uint8_t, 4>> pixels(32 * 2, {9, 9, 9, 9});
    PlanarToRGB32(pixels[0].data(), 32 * 4, luma.data(), cb.data(), cr.data(), 32, 16, 32, 2, false);
    EXPECT_EQ(pixels, decltype(pixels)(32 * 2, c.pixel))
        << int{c.luma} << " " << int{c.cb} << " " << int{c.cr};
  }
}

// Both rules of the packed format, told without the reference: the last width mod 16 pixels and an odd last
// row stay as they were.
TEST_P(PixelConversion, YUY2LeavesWhatIsNotAWholeBlock) {
  const std::vector<uint8_t> luma(1928 * 3, 1), chroma(964, 2);
  std::vector<uint8_t> target(2 * 1928 * 3, 7);
  PlanarToYUY2(target.data(), 2 * 1928, luma.data(), chroma.data(), chroma.data(), 1928, 964, 964, 1928, 3);
  EXPECT_EQ(std::count(target.begin(), target.begin() + 2 * 1920, 7), 0);
  EXPECT_EQ(std::count(target.begin(), target.end(), 7), 2 * (8 + 8 + 1928));
  std::fill(target.begin(), target.end(), 7);
  PlanarToYUY2(target.data(), 30, luma.data(), chroma.data(), chroma.data(), 15, 7, 7, 15, 3);
  PlanarToYUY2(target.data(), 64, luma.data(), chroma.data(), chroma.data(), 32, 16, 16, 32, 1);
  EXPECT_EQ(std::count(target.begin(), target.end(), 7), static_cast<ptrdiff_t>(target.size()));
}

TEST_P(PixelConversion, SizesThatAreNoneReadAndWriteNothing) {
  const View none[3] = {{nullptr, 64}, {nullptr, 32}, {nullptr, 32}};
  for (const Operation& operation : kOperations) {
    for (int32_t size : {0, -1, -2, -64, INT32_MIN}) {
      operation.convert(none, none, size, 64);
      operation.convert(none, none, 64, size);
      operation.convert(none, none, size, size);
    }
  }
}

TEST_P(PixelConversion, SurfaceFormatAndStepChooseTheConversion) {
  constexpr int32_t kWidth = 38, kHeight = 10;
  const auto operationOf = [](uint32_t surfaceFormat, int32_t step) -> const Operation* {
    switch (surfaceFormat) {
      case QPF_XRGB:
        return &kOperations[step == 2 ? 2 : 0];
      case QPF_YUYV:
        return &kOperations[step == 2 ? 4 : 3];
      case QPF_YV12:
        return &kOperations[step == 2 ? 6 : 5];
      default:
        return nullptr;
    }
  };
  View source[3], target[3], expected[3];
  for (size_t i = 0; i < 3; i++) {
    const int32_t divisor = i == 0 ? 1 : 2;
    source[i] = m_source[i].Place(kHeight / divisor, kWidth / divisor, 44 / divisor,
                                  GuardedPlane::Against::BackGuard);
    FillWithNoise(m_source[i], m_random);
  }
  for (uint32_t sourceFormat = 0; sourceFormat <= 6; sourceFormat++) {
    for (uint32_t surfaceFormat = 0; surfaceFormat <= 6; surfaceFormat++) {
      for (int32_t step : {-2, 0, 1, 2, 3}) {
        for (size_t i = 0; i < 3; i++) {
          target[i] = m_target[i].Place(kHeight, 4 * kWidth, 4 * kWidth, GuardedPlane::Against::BackGuard);
          expected[i] =
              m_expected[i].Place(kHeight, 4 * kWidth, 4 * kWidth, GuardedPlane::Against::BackGuard);
        }
        const Planar from = Source(source);
        const uint32_t strides[3] = {44, 22, 22};
        uint8_t* const planes[3] = {target[0].data, target[1].data, target[2].data};
        const int32_t pitches[3] = {target[0].stride, target[1].stride, target[2].stride};
        ConvertToSurface(from.planes, strides, sourceFormat, planes, pitches, surfaceFormat, kWidth, kHeight,
                         step);
        const Operation* operation = sourceFormat == QPF_YV12 ? operationOf(surfaceFormat, step) : nullptr;
        if (operation != nullptr) operation->reference(source, expected, kWidth, kHeight);
        for (size_t i = 0; i < 3; i++) {
          EXPECT_TRUE(std::equal(m_target[i].begin(), m_target[i].begin() + m_target[i].size(),
                                 m_expected[i].begin()))
              << sourceFormat << " into " << surfaceFormat << " step " << step << " plane " << i;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(InstructionSets, PixelConversion,
                         testing::Values(PixelInstructionSet::Plain, PixelInstructionSet::Sse2,
                                         PixelInstructionSet::Avx2),
                         [](const auto& set) {
                           return std::string(set.param == PixelInstructionSet::Plain  ? "Plain"
                                              : set.param == PixelInstructionSet::Sse2 ? "SSE2"
                                                                                       : "AVX2");
                         });

}  // namespace
