// Copies between images in memory, against plain arithmetic and inside guard pages.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <tuple>
#include <vector>

#include "platform/posix/Stretch.h"
#include "platform/posix/StretchGeometry.h"
#include "tests/support/TestSeam.h"

namespace platform {
namespace {

constexpr PixelKind kKinds[] = {PixelKind::kRgb32, PixelKind::kYuy2, PixelKind::kYv12, PixelKind::kNv12};
constexpr uint8_t kUntouched = 0xA5;

// An image whose memory ends, or begins, at a page that must not be touched.
class GuardedImage {
 public:
  GuardedImage(PixelKind kind, int32_t width, int32_t height, bool guardBehind = true) {
    const PixelImageSize size = SizeOfImage(kind, width, height);
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t bytes = (size.nBytes + page - 1) / page * page;
    m_nMapped = bytes + 2 * page;
    m_pMapped =
        static_cast<uint8_t*>(mmap(nullptr, m_nMapped, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(m_pMapped + page, bytes, PROT_READ | PROT_WRITE);
    m_Image = {m_pMapped + page + (guardBehind ? bytes - size.nBytes : 0), size.nPitch, width, height, kind};
    m_nBytes = size.nBytes;
    std::memset(m_Image.pBytes, kUntouched, m_nBytes);
  }
  ~GuardedImage() { munmap(m_pMapped, m_nMapped); }
  GuardedImage(const GuardedImage&) = delete;
  GuardedImage& operator=(const GuardedImage&) = delete;

  const PixelImage& Get() const { return m_Image; }
  void Fill(std::mt19937& random) {
    for (size_t i = 0; i < m_nBytes; ++i)
      m_Image.pBytes[i] = static_cast<uint8_t>(random());
  }
  const uint8_t* Pixel(int32_t x, int32_t y) const {
    return m_Image.pBytes + static_cast<ptrdiff_t>(y) * m_Image.nPitch + x * 4;
  }
  // Whether nothing outside `rect` was written.
  bool IsUntouchedOutside(const RECT& rect) const {
    for (size_t i = 0; i < m_nBytes; ++i) {
      const auto pitch = static_cast<size_t>(m_Image.nPitch);
      const auto x = static_cast<int32_t>(i % pitch / 4);
      const auto y = static_cast<int32_t>(i / pitch);
      const bool inside = x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
      if (!inside && m_Image.pBytes[i] != kUntouched) return false;
    }
    return true;
  }

 private:
  uint8_t* m_pMapped;
  size_t m_nMapped;
  size_t m_nBytes;
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

// The colour at (x, y) of a copy from `rect`, computed pixel by pixel.
Colour Expected(const PixelImage& image, const RECT& rect, int32_t x, int32_t y) {
  const auto at = [&](const uint8_t* plane, int32_t pitch, int32_t column, int32_t row) {
    return int{plane[static_cast<ptrdiff_t>(row) * pitch + column]};
  };
  const auto sample = [](int32_t position, int32_t begin, int32_t end) {
    return std::min(position / 2, std::max(end / 2, begin / 2 + 1) - 1);
  };
  const int32_t chromaX = sample(x, rect.left, rect.right);
  const int32_t chromaY = sample(y, rect.top, rect.bottom);
  const uint8_t* const bytes = image.pBytes;
  const int32_t pitch = image.nPitch;
  const uint8_t* const chroma = bytes + static_cast<ptrdiff_t>(pitch) * image.nHeight;
  const uint8_t* const cb = bytes + static_cast<ptrdiff_t>(pitch) * image.nHeight * 5 / 4;
  switch (image.kind) {
    case PixelKind::kRgb32:
      return {at(bytes, pitch, x * 4, y), at(bytes, pitch, x * 4 + 1, y), at(bytes, pitch, x * 4 + 2, y)};
    case PixelKind::kYuy2:
      return FromYuv(at(bytes, pitch, x * 2, y), at(bytes, pitch, x / 2 * 4 + 1, y),
                     at(bytes, pitch, x / 2 * 4 + 3, y));
    case PixelKind::kYv12:
      return FromYuv(at(bytes, pitch, x, y), at(cb, pitch / 2, chromaX, chromaY),
                     at(chroma, pitch / 2, chromaX, chromaY));
    case PixelKind::kNv12:
      return FromYuv(at(bytes, pitch, x, y), at(chroma, pitch, chromaX * 2, chromaY),
                     at(chroma, pitch, chromaX * 2 + 1, chromaY));
  }
  return {};
}

int LargestDifference(const Colour& colour, const uint8_t* pixel) {
  return std::max(
      {std::abs(colour.blue - pixel[0]), std::abs(colour.green - pixel[1]), std::abs(colour.red - pixel[2])});
}

RECT Cut(const RECT& rect, const PixelImage& image) {
  return {std::max(rect.left, 0), std::max(rect.top, 0), std::min(rect.right, image.nWidth),
          std::min(rect.bottom, image.nHeight)};
}

// libyuv computes in six bits behind the point; full chroma swings add up to this much.
constexpr int kConversionTolerance = 3;

// Copies without stretching; every pixel must be the expected one, and nothing else may change.
void ExpectPlainCopy(const GuardedImage& source, const RECT& from, GuardedImage& target, LONG left,
                     LONG top) {
  const RECT to = {left, top, left + from.right - from.left, top + from.bottom - from.top};
  StretchScratch scratch;
  ASSERT_EQ(StretchCopy(source.Get(), from, target.Get(), to, scratch), DD_OK);
  const RECT seen = Cut(to, target.Get());
  const int tolerance = source.Get().kind == PixelKind::kRgb32 ? 0 : kConversionTolerance;
  for (LONG y = seen.top; y < seen.bottom; ++y) {
    for (LONG x = seen.left; x < seen.right; ++x) {
      const Colour expected = Expected(source.Get(), from, x - left + from.left, y - top + from.top);
      ASSERT_LE(LargestDifference(expected, target.Pixel(x, y)), tolerance)
          << "kind " << static_cast<int>(source.Get().kind) << " pixel " << x << "," << y << " from "
          << from.left << "," << from.top << "," << from.right << "," << from.bottom << " to " << left << ","
          << top;
    }
  }
  EXPECT_TRUE(target.IsUntouchedOutside(seen));
}

TEST(StretchCopy, ConvertsEveryPixelAtAnyOffsetAndSize) {
  std::mt19937 random(1);
  for (const PixelKind kind : kKinds) {
    for (const auto& [width, height] : {std::pair{1, 1}, {2, 1}, {3, 5}, {17, 4}, {33, 9}, {130, 7}}) {
      GuardedImage source(kind, width, height);
      source.Fill(random);
      for (LONG inset = 0; inset < 4; ++inset) {
        const RECT from = {inset % 2, inset / 2, width, height};
        if (from.left >= from.right || from.top >= from.bottom) continue;
        GuardedImage target(PixelKind::kRgb32, width + 3, height + 3);
        ASSERT_NO_FATAL_FAILURE(ExpectPlainCopy(source, from, target, inset, 3 - inset));
      }
      GuardedImage target(PixelKind::kRgb32, width, height);
      const RECT shortened = {0, 0, std::max(width - 1, 1), std::max(height - 1, 1)};
      ASSERT_NO_FATAL_FAILURE(ExpectPlainCopy(source, shortened, target, 0, 0));
    }
  }
}

TEST(StretchCopy, CutsAtEveryEdgeOfTheTarget) {
  std::mt19937 random(2);
  for (const PixelKind kind : kKinds) {
    GuardedImage source(kind, 38, 22);
    source.Fill(random);
    for (const LONG left : {-37, -5, 0, 3, 29}) {
      for (const LONG top : {-21, -3, 0, 1, 19}) {
        GuardedImage target(PixelKind::kRgb32, 30, 20);
        ASSERT_NO_FATAL_FAILURE(ExpectPlainCopy(source, {0, 0, 38, 22}, target, left, top));
      }
    }
  }
}

// Fills a planar image with steps along both axes, chroma included, so that shifts show.
void FillGradient(const PixelImage& image) {
  const PixelImageSize size = SizeOfImage(image.kind, image.nWidth, image.nHeight);
  std::memset(image.pBytes, 128, size.nBytes);
  for (int32_t y = 0; y < image.nHeight; ++y) {
    for (int32_t x = 0; x < image.nWidth; ++x) {
      const int value = 16 + 110 * x / image.nWidth + 110 * y / image.nHeight;
      uint8_t* const row = image.pBytes + static_cast<ptrdiff_t>(y) * image.nPitch;
      if (image.kind == PixelKind::kRgb32) std::memset(row + x * 4, value, 4);
      if (image.kind == PixelKind::kYuy2) row[x * 2] = static_cast<uint8_t>(value);
      if (image.kind == PixelKind::kYv12 || image.kind == PixelKind::kNv12)
        row[x] = static_cast<uint8_t>(value);
    }
  }
}

TEST(StretchCopy, KeepsTheScaleWhenTheTargetIsCut) {
  for (const PixelKind kind : kKinds) {
    GuardedImage source(kind, 320, 180);
    FillGradient(source.Get());
    for (const auto& [width, height] : {std::pair{801, 455}, {320, 400}, {333, 181}, {150, 77}, {97, 180}}) {
      StretchScratch scratch;
      GuardedImage whole(PixelKind::kRgb32, width, height);
      ASSERT_EQ(StretchCopy(source.Get(), {1, 0, 319, 179}, whole.Get(), {0, 0, width, height}, scratch),
                DD_OK);
      for (const auto& [left, top] : {std::pair{-31, -40}, {-70, 11}, {9, -13}, {25, 30}}) {
        GuardedImage cut(PixelKind::kRgb32, 90, 60);
        const RECT to = {left, top, left + width, top + height};
        ASSERT_EQ(StretchCopy(source.Get(), {1, 0, 319, 179}, cut.Get(), to, scratch), DD_OK);
        const RECT seen = Cut(to, cut.Get());
        for (LONG y = seen.top; y < seen.bottom; ++y) {
          for (LONG x = seen.left; x < seen.right; ++x) {
            const uint8_t* const pixel = whole.Pixel(x - left, y - top);
            // The steps of the smallest picture are 1.5 from pixel to pixel along each axis.
            ASSERT_LE(LargestDifference({pixel[0], pixel[1], pixel[2]}, cut.Pixel(x, y)), 4)
                << "kind " << static_cast<int>(kind) << " " << width << "x" << height << " at " << x << ","
                << y << " cut by " << left << "," << top;
          }
        }
        EXPECT_TRUE(cut.IsUntouchedOutside(seen));
      }
    }
  }
}

TEST(StretchCopy, KeepsFlatColoursAndTheirBorderInPlace) {
  constexpr int kRed[] = {81, 90, 240};  // luma, Cb, Cr
  constexpr int kBlue[] = {41, 240, 110};
  GuardedImage source(PixelKind::kYv12, 64, 48);
  const PixelImage& image = source.Get();
  const ChromaPlanes chroma = ChromaOf(image);
  for (int32_t y = 0; y < 48; ++y) {
    for (int32_t x = 0; x < 64; ++x) {
      const int* const colour = x < 32 ? kRed : kBlue;
      image.pBytes[y * image.nPitch + x] = static_cast<uint8_t>(colour[0]);
      const_cast<uint8_t*>(chroma.pCb)[y / 2 * chroma.nPitch + x / 2] = static_cast<uint8_t>(colour[1]);
      const_cast<uint8_t*>(chroma.pCr)[y / 2 * chroma.nPitch + x / 2] = static_cast<uint8_t>(colour[2]);
    }
  }
  for (const int32_t width : {19, 64, 100, 128, 401}) {
    GuardedImage target(PixelKind::kRgb32, width, 33);
    StretchScratch scratch;
    ASSERT_EQ(StretchCopy(image, {0, 0, 64, 48}, target.Get(), {0, 0, width, 33}, scratch), DD_OK);
    const int32_t blur = 2 + width / 16;  // two chroma samples
    for (int32_t x = 0; x < width; ++x) {
      if (std::abs(x - width / 2) <= blur) continue;
      const int* const colour = x < width / 2 ? kRed : kBlue;
      for (const int32_t y : {0, 16, 32}) {
        ASSERT_LE(LargestDifference(FromYuv(colour[0], colour[1], colour[2]), target.Pixel(x, y)),
                  kConversionTolerance + 1)  // interpolation rounds once more
            << width << " wide, pixel " << x << "," << y;
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
    const PixelKind kind = kKinds[round % 4];
    const bool behind = number(0, 1) != 0;
    GuardedImage source(kind, number(1, 90), number(1, 60), behind);
    GuardedImage target(PixelKind::kRgb32, number(1, 90), number(1, 60), behind);
    const RECT whole = {0, 0, source.Get().nWidth, source.Get().nHeight};
    RECT from = {number(0, whole.right - 1), number(0, whole.bottom - 1), 0, 0};
    from.right = number(from.left + 1, whole.right);
    from.bottom = number(from.top + 1, whole.bottom);
    const int32_t reach = round % 8 == 0 ? 1'000'000'000 : 150;
    RECT to = {number(-reach, 80), number(-reach, 50), 0, 0};
    to.right = number(to.left + 1, to.left < 0 ? reach : 80 + reach / 2);
    to.bottom = number(to.top + 1, to.top < 0 ? reach : 80 + reach / 2);
    StretchScratch scratch;
    ASSERT_EQ(StretchCopy(source.Get(), from, target.Get(), to, scratch), DD_OK);
    ASSERT_TRUE(target.IsUntouchedOutside(Cut(to, target.Get())));
  }
}

TEST(StretchCopy, RefusesRectanglesThatAreEmptyOrLeaveTheSource) {
  GuardedImage source(PixelKind::kYv12, 16, 16);
  GuardedImage target(PixelKind::kRgb32, 16, 16);
  const RECT whole = {0, 0, 16, 16};
  StretchScratch scratch;
  for (const RECT& bad : {RECT{0, 0, 0, 16}, RECT{0, 5, 16, 5}, RECT{9, 0, 8, 16}}) {
    EXPECT_EQ(StretchCopy(source.Get(), bad, target.Get(), whole, scratch), DDERR_INVALIDRECT);
    EXPECT_EQ(StretchCopy(source.Get(), whole, target.Get(), bad, scratch), DDERR_INVALIDRECT);
  }
  for (const RECT& bad : {RECT{-1, 0, 16, 16}, RECT{0, -1, 16, 16}, RECT{0, 0, 17, 16}, RECT{0, 0, 16, 17},
                          RECT{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX}}) {
    EXPECT_EQ(StretchCopy(source.Get(), bad, target.Get(), whole, scratch), DDERR_INVALIDRECT);
  }
  EXPECT_EQ(StretchCopy(target.Get(), whole, source.Get(), whole, scratch), DDERR_UNSUPPORTED);
  for (const RECT& beyond :
       {RECT{16, 0, 32, 16}, RECT{-90, -9, 0, 16}, RECT{0, INT32_MIN, 16, INT32_MIN + 1}})
    EXPECT_EQ(StretchCopy(source.Get(), whole, target.Get(), beyond, scratch), DD_OK);
  EXPECT_TRUE(target.IsUntouchedOutside({0, 0, 0, 0}));
}

TEST(StretchCopy, ReportsExhaustedMemoryAndRecovers) {
  TestSeam seam;
  GuardedImage source(PixelKind::kYv12, 16, 16);
  GuardedImage target(PixelKind::kRgb32, 32, 32);
  StretchScratch scratch;
  seam.FailAllocationsAfter(0);
  EXPECT_EQ(StretchCopy(source.Get(), {0, 0, 16, 16}, target.Get(), {0, 0, 32, 32}, scratch),
            DDERR_OUTOFMEMORY);
  EXPECT_EQ(StretchCopy(source.Get(), {0, 0, 16, 16}, target.Get(), {0, 0, 16, 16}, scratch), DD_OK);
  seam.AllowAllocations();
  EXPECT_EQ(StretchCopy(source.Get(), {0, 0, 16, 16}, target.Get(), {0, 0, 32, 32}, scratch), DD_OK);
  seam.FailAllocationsAfter(0);  // the steady state needs none
  EXPECT_EQ(StretchCopy(source.Get(), {0, 0, 15, 16}, target.Get(), {0, 0, 31, 32}, scratch), DD_OK);
}

TEST(CutStretchAxis, ReadsNoMoreThanIsSeen) {
  StretchAxis axis;
  // The left half of a doubled picture lies beyond the target's left edge.
  ASSERT_TRUE(CutStretchAxis(0, 100, -100, 100, 500, axis));
  EXPECT_EQ(axis, (StretchAxis{48, 52, 0, 100, 4, 104}));
  // Only the first tenth is on the target.
  ASSERT_TRUE(CutStretchAxis(10, 110, 450, 950, 500, axis));
  EXPECT_EQ(axis, (StretchAxis{10, 12, 450, 50, 0, 60}));
  // An enlargement beyond all measure keeps a bounded band.
  ASSERT_TRUE(CutStretchAxis(0, 100, INT32_MIN, INT32_MAX, 500, axis));
  EXPECT_EQ(axis.nTargetLength, 500);
  EXPECT_LE(axis.nBandLength, 500 + 2 * 384);
  EXPECT_FALSE(CutStretchAxis(0, 100, 500, 600, 500, axis));
  EXPECT_FALSE(CutStretchAxis(0, 100, -20, 0, 500, axis));
}

}  // namespace
}  // namespace platform
