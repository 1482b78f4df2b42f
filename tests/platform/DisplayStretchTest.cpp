// Copies between images in memory, against plain arithmetic and inside guard pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>

#include "platform/posix/Stretch.h"
#include "tests/support/GuardedPlane.h"
#include "tests/support/TestSeam.h"

namespace platform {
namespace {

constexpr PixelKind kKinds[] = {PixelKind::kRgb32, PixelKind::kYuy2, PixelKind::kYv12, PixelKind::kNv12};

// An image whose memory ends, or begins, at a page that must not be touched.
class GuardedImage {
 public:
  GuardedImage(PixelKind kind, int32_t width, int32_t height, bool guardBehind = true) {
    const auto bytes = static_cast<int32_t>(SizeOfImage(kind, width, height).nBytes);
    m_Image = {m_Memory.Place(1, bytes, bytes, guardBehind).data, SizeOfImage(kind, width, height).nPitch,
               width, height, kind};
  }
  const PixelImage& Get() const { return m_Image; }
  std::span<uint8_t> Bytes() const { return m_Memory.Bytes(); }
  const uint8_t* Pixel(int32_t x, int32_t y) const {
    return m_Image.pBytes + static_cast<ptrdiff_t>(y) * m_Image.nPitch + x * 4;
  }
  // Whether nothing outside `rect` was written.
  bool IsUntouchedOutside(const RECT& rect) const {
    for (int32_t at = 0; at < static_cast<int32_t>(Bytes().size()); ++at) {
      const int32_t x = at % m_Image.nPitch / 4, y = at / m_Image.nPitch;
      const bool inside = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
      if (!inside && m_Image.pBytes[at] != 0xA5) return false;
    }
    return true;
  }

 private:
  GuardedPlane m_Memory;
  PixelImage m_Image;
};

struct Colour {
  int blue, green, red;
};

Colour FromYuv(int luma, int cb, int cr) {
  const double y = 1.164383 * (luma - 16);
  const auto byte = [](double value) { return static_cast<int>(std::clamp(value + 0.5, 0.0, 255.0)); };
  return {byte(y + 2.017232 * (cb - 128)), byte(y - 0.391762 * (cb - 128) - 0.812968 * (cr - 128)),
          byte(y + 1.596027 * (cr - 128))};
}

// Where the three samples of a pixel lie: blue, green, red, or luma, Cb, Cr.
std::array<uint8_t*, 3> Samples(const PixelImage& image, int32_t x, int32_t y, int32_t chromaX,
                                int32_t chromaY) {
  const ptrdiff_t pitch = image.nPitch;
  uint8_t* const row = image.pBytes + pitch * y;
  if (image.kind == PixelKind::kRgb32) return {row + x * 4, row + x * 4 + 1, row + x * 4 + 2};
  if (image.kind == PixelKind::kYuy2) return {row + x * 2, row + x / 2 * 4 + 1, row + x / 2 * 4 + 3};
  uint8_t* const chroma = image.pBytes + pitch * image.nHeight;
  uint8_t* const pair = chroma + pitch * chromaY + chromaX * 2;
  if (image.kind == PixelKind::kNv12) return {row + x, pair, pair + 1};
  const ptrdiff_t at = pitch / 2 * chromaY + chromaX;
  return {row + x, image.pBytes + pitch * image.nHeight * 5 / 4 + at, chroma + at};
}

Colour ToRgb(PixelKind kind, int first, int second, int third) {
  return kind == PixelKind::kRgb32 ? Colour{first, second, third} : FromYuv(first, second, third);
}

int LargestDifference(const Colour& colour, const uint8_t* pixel) {
  return std::max(
      {std::abs(colour.blue - pixel[0]), std::abs(colour.green - pixel[1]), std::abs(colour.red - pixel[2])});
}

RECT Cut(const RECT& rect, const PixelImage& image) {
  return {std::max(rect.left, 0), std::max(rect.top, 0), std::min(rect.right, image.nWidth),
          std::min(rect.bottom, image.nHeight)};
}

TEST(StretchCopy, ConvertsEveryPixelAtAnyOffset) {
  std::mt19937 random(1);
  for (const PixelKind kind : kKinds) {
    const GuardedImage source(kind, 38, 22);
    std::ranges::generate(source.Bytes(), [&] { return static_cast<uint8_t>(random()); });
    for (const auto& [left, top] : {std::pair{-5, -3}, {-36, -20}, {0, 0}, {3, 1}, {29, 19}}) {
      const GuardedImage target(PixelKind::kRgb32, 30, 20);
      const RECT to = {left, top, left + 37, top + 21}, seen = Cut(to, target.Get());
      StretchScratch scratch;
      ASSERT_EQ(StretchCopy(source.Get(), {1, 1, 38, 22}, target.Get(), to, scratch), DD_OK);
      for (LONG y = seen.top; y < seen.bottom; ++y) {
        for (LONG x = seen.left; x < seen.right; ++x) {
          const LONG fromX = x - left + 1, fromY = y - top + 1;
          const auto samples = Samples(source.Get(), fromX, fromY, fromX / 2, fromY / 2);
          // libyuv computes in six bits behind the point; full chroma swings add up to 3.
          ASSERT_LE(LargestDifference(ToRgb(kind, *samples[0], *samples[1], *samples[2]), target.Pixel(x, y)),
                    kind == PixelKind::kRgb32 ? 0 : 3)
              << "kind " << static_cast<int>(kind) << " pixel " << x << "," << y << " cut by " << left;
        }
      }
      EXPECT_TRUE(target.IsUntouchedOutside(seen));
    }
  }
}

// Small windows are written in another way than large ones.
TEST(StretchCopy, WindowsOfAnySizeShowTheSamePixels) {
  std::mt19937 random(2);
  const GuardedImage source(PixelKind::kYv12, 500, 80);
  std::ranges::generate(source.Bytes(), [&] { return static_cast<uint8_t>(random()); });
  const GuardedImage large(PixelKind::kRgb32, 500, 80);
  const RECT whole = {0, 0, 500, 80};
  StretchScratch scratch;
  ASSERT_EQ(StretchCopy(source.Get(), whole, large.Get(), whole, scratch), DD_OK);
  for (const auto& [width, height] : {std::pair{2, 2}, {14, 10}, {16, 8}, {176, 78}, {400, 80}, {498, 64}}) {
    for (LONG at : {0, 1, 7, 40}) {
      const GuardedImage target(PixelKind::kRgb32, 500, 80);
      const RECT to = {at, at / 8, at + width, at / 8 + height};
      const RECT seen = Cut(to, target.Get());
      const RECT from = {2, 0, 2 + width, height};
      ASSERT_EQ(StretchCopy(source.Get(), from, target.Get(), to, scratch), DD_OK);
      for (LONG y = seen.top; y < seen.bottom; ++y) {
        ASSERT_EQ(std::memcmp(target.Pixel(seen.left, y), large.Pixel(2, y - to.top),
                              static_cast<size_t>(seen.right - seen.left) * 4),
                  0)
            << width << "x" << height << " at " << at << " row " << y;
      }
      EXPECT_TRUE(target.IsUntouchedOutside(seen));
    }
  }
}

// A gradient in every plane, so that shifts and wrong scales of luma and of chroma show.
TEST(StretchCopy, KeepsScaleAndColoursWhereverTheTargetIsCut) {
  constexpr RECT kFrom = {1, 0, 319, 179};
  const auto value = [](int plane, double x, double y) {
    return static_cast<int>(plane == 0 ? 16 + 110 * x / 320 + 110 * y / 180
                                       : 64 + 128 * (plane == 1 ? x / 320 : y / 180));
  };
  for (const PixelKind kind : kKinds) {
    const GuardedImage source(kind, 320, 180);
    for (int32_t y = 0; y < 180; ++y) {
      for (int32_t x = 0; x < 320; ++x) {
        const auto samples = Samples(source.Get(), x, y, x / 2, y / 2);
        for (int plane = 0; plane < 3; ++plane)
          *samples[static_cast<size_t>(plane)] = static_cast<uint8_t>(value(plane, x, y));
      }
    }
    for (const auto& [width, height] : {std::pair{801, 455}, {320, 400}, {333, 181}, {150, 77}, {97, 180}}) {
      const int tolerance = 5 + 400 / width;
      for (const auto& [left, top] : {std::pair{0, 0}, {-31, -12}, {-712, -400}, {9, -13}, {25, 30}}) {
        const GuardedImage target(PixelKind::kRgb32, 90, 60);
        const RECT to = {left, top, left + width, top + height}, seen = Cut(to, target.Get());
        StretchScratch scratch;
        ASSERT_EQ(StretchCopy(source.Get(), kFrom, target.Get(), to, scratch), DD_OK);
        for (LONG y = seen.top; y < seen.bottom; ++y) {
          for (LONG x = seen.left; x < seen.right; ++x) {
            const double fromX = 1 + (x - left) * 318.0 / width, fromY = (y - top) * 179.0 / height;
            const Colour colour =
                ToRgb(kind, value(0, fromX, fromY), value(1, fromX, fromY), value(2, fromX, fromY));
            ASSERT_LE(LargestDifference(colour, target.Pixel(x, y)), tolerance)
                << "kind " << static_cast<int>(kind) << " " << width << "x" << height << " at " << x << ","
                << y << " cut by " << left << "," << top;
          }
        }
        EXPECT_TRUE(target.IsUntouchedOutside(seen));
      }
    }
  }
}

TEST(StretchCopy, NeverLeavesItsMemoryWhateverTheRectangles) {
  std::mt19937 random(3);
  const auto number = [&](int32_t least, int32_t most) {
    return std::uniform_int_distribution<int32_t>(least, most)(random);
  };
  for (int round = 0; round < 3000; ++round) {
    const bool behind = number(0, 1) != 0;
    const GuardedImage source(kKinds[round % 4], number(1, 90), number(1, 60), behind);
    const GuardedImage target(PixelKind::kRgb32, number(1, 90), number(1, 60), behind);
    RECT from = {number(0, source.Get().nWidth - 1), number(0, source.Get().nHeight - 1), 0, 0};
    from.right = number(from.left + 1, source.Get().nWidth);
    from.bottom = number(from.top + 1, source.Get().nHeight);
    const int32_t reach = round % 8 == 0 ? 1'000'000'000 : 150;
    RECT to = {number(-reach, 80), number(-reach, 50), 0, 0};
    to.right = number(to.left + 1, to.left < 0 ? reach : 80 + reach / 2);
    to.bottom = number(to.top + 1, to.top < 0 ? reach : 80 + reach / 2);
    StretchScratch scratch;
    ASSERT_EQ(StretchCopy(source.Get(), from, target.Get(), to, scratch), DD_OK);
    ASSERT_TRUE(target.IsUntouchedOutside(Cut(to, target.Get())));
  }
}

TEST(StretchCopy, RefusesBadRectanglesAndReportsExhaustedMemory) {
  const GuardedImage source(PixelKind::kYv12, 16, 16);
  const GuardedImage target(PixelKind::kRgb32, 16, 16);
  StretchScratch scratch;
  const RECT whole = {0, 0, 16, 16}, half = {0, 0, 8, 16};
  const auto copy = [&](const RECT& from, const RECT& to) {
    return StretchCopy(source.Get(), from, target.Get(), to, scratch);
  };
  for (const RECT& empty : {RECT{0, 0, 0, 16}, {0, 5, 16, 5}, {9, 0, 8, 16}}) {
    EXPECT_EQ(copy(empty, whole), DDERR_INVALIDRECT);
    EXPECT_EQ(copy(whole, empty), DDERR_INVALIDRECT);
  }
  for (const RECT& outside :
       {RECT{-1, 0, 16, 16}, {0, -1, 16, 16}, {0, 0, 17, 16}, {INT32_MIN, 0, INT32_MAX, 17}})
    EXPECT_EQ(copy(outside, whole), DDERR_INVALIDRECT);
  EXPECT_EQ(StretchCopy(target.Get(), whole, source.Get(), whole, scratch), DDERR_UNSUPPORTED);
  for (const RECT& unseen : {RECT{16, 0, 32, 16}, {-90, -9, 0, 16}, {0, INT32_MIN, 16, INT32_MIN + 1}})
    EXPECT_EQ(copy(whole, unseen), DD_OK);
  EXPECT_TRUE(target.IsUntouchedOutside({0, 0, 0, 0}));

  TestSeam seam;
  seam.FailAllocationsAfter(0);
  EXPECT_EQ(copy(half, whole), DDERR_OUTOFMEMORY);
  EXPECT_EQ(copy(whole, whole), DD_OK) << "without stretching, none is needed";
  seam.AllowAllocations();
  EXPECT_EQ(copy(half, whole), DD_OK);
  seam.FailAllocationsAfter(0);
  EXPECT_EQ(copy({0, 0, 7, 16}, {0, 0, 15, 16}), DD_OK) << "the steady state needs none";
}

}  // namespace
}  // namespace platform
