// The sharpening filter against its formula, and its vector kernels against the plain ones.
#include "codecs/qimagep/Sharpener.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/support/GuardedPlane.h"

namespace {

// Of the box around (x, y); pixels beyond the border are the border's.
double MeanAround(const View& plane, int32_t width, int32_t height, int32_t x, int32_t y, int32_t radius) {
  int64_t sum = 0;
  for (int32_t row = y - radius; row <= y + radius; ++row)
    for (int32_t column = x - radius; column <= x + radius; ++column)
      sum += plane.Row(std::clamp(row, 0, height - 1))[std::clamp(column, 0, width - 1)];
  return static_cast<double>(sum) / (2 * radius + 1) / (2 * radius + 1);
}

TEST(Sharpener, EveryPixelMovesAwayFromTheMeanAroundIt) {
  std::minstd_rand random{4};
  GuardedPlane memory;
  Sharpener sharpener{kPlainSharpenKernels};  // one for all: sizes change
  for (const auto& [width, height] : {std::pair{1, 1}, {150, 1}, {1, 90}, {7, 5}, {35, 20}}) {
    for (const int32_t radius : {1, 8, 40, INT32_MAX}) {
      const int32_t reach = std::min(radius, Sharpener::kMaxRadius);
      // Columns of a large box are averaged to whole levels, rounded down.
      const double precision = reach < 40 ? 0.3 : 1.1;
      const View plane = memory.Place(height, width, width + 5, random() % 2 == 0);
      for (uint8_t& byte : memory.Bytes())
        byte = static_cast<uint8_t>(random() % 3 == 0 ? 255 * (random() % 2) : random());
      for (const float strength : {1.3F, 0.F, -4.F, 8.F, 1e30F}) {
        const double gain = std::clamp(strength, 0.F, Sharpener::kMaxStrength) - 1;
        const auto sharpened =
            sharpener.Sharpen({plane.data, static_cast<uint32_t>(plane.stride)}, static_cast<uint32_t>(width),
                              static_cast<uint32_t>(height), radius, strength);
        ASSERT_NE(sharpened.pData, nullptr);
        for (int32_t i = 0; i < 60; ++i) {
          const auto x = static_cast<int32_t>(random()) % width, y = static_cast<int32_t>(random()) % height;
          const double pixel = plane.Row(y)[x];
          const double away = gain * (pixel - MeanAround(plane, width, height, x, y, reach));
          ASSERT_NEAR(sharpened.pData[y * static_cast<int32_t>(sharpened.nStride) + x],
                      std::clamp(pixel + away, 0., 255.), 0.7 + std::abs(gain) * precision)
              << width << "x" << height << " radius " << radius << " strength " << strength;
        }
      }
    }
  }
}

// Sources end or begin at memory that nobody may touch; AddressSanitizer watches the filter's own.
TEST(Sharpener, VectorKernelsGiveThePlainOnesBytes) {
  std::minstd_rand random{5};
  GuardedPlane memory;
  Sharpener plain{kPlainSharpenKernels};
  for (const auto set : {SharpenInstructionSet::Sse2, SharpenInstructionSet::Avx2}) {
    if (SharpenKernelsFor(set) == nullptr) continue;
    Sharpener vector{*SharpenKernelsFor(set)};
    for (int32_t width = 1; width < 140; ++width) {
      for (const int32_t radius : {1, 8, 100, 128}) {
        constexpr uint32_t kHeight = 9;
        const View plane = memory.Place(kHeight, width, width + 3, random() % 2 == 0);
        std::generate(memory.Bytes().begin(), memory.Bytes().end(), random);
        const Sharpener::Plane source = {plane.data, static_cast<uint32_t>(plane.stride)};
        const auto columns = static_cast<uint32_t>(width);
        const float strength = static_cast<float>(random() % 80) / 10;
        const auto expected = plain.Sharpen(source, columns, kHeight, radius, strength);
        const auto sharpened = vector.Sharpen(source, columns, kHeight, radius, strength);
        for (size_t y = 0; y < kHeight; ++y) {
          const uint8_t* const row = expected.pData + y * expected.nStride;
          ASSERT_TRUE(std::equal(row, row + width, sharpened.pData + y * sharpened.nStride))
              << "width " << width << " radius " << radius << " strength " << strength;
        }
      }
    }
  }
}

TEST(Sharpener, LeavesFlatPicturesAsTheyAreAndRefusesWhatIsNone) {
  Sharpener sharpener;
  for (int value = 0; value < 256; ++value) {
    const std::vector<uint8_t> flat(100, static_cast<uint8_t>(value));
    for (int32_t radius = 1; radius <= Sharpener::kMaxRadius; ++radius) {
      const auto sharpened = sharpener.Sharpen({flat.data(), 50}, 50, 2, radius, 8);
      ASSERT_TRUE(std::equal(flat.begin(), flat.begin() + 50, sharpened.pData)) << value << ' ' << radius;
    }
  }
  const uint8_t pixel = 7;
  for (const float same : {1.F, std::numeric_limits<float>::quiet_NaN()})
    EXPECT_EQ(sharpener.Sharpen({&pixel, 1}, 1, 1, 8, same).pData, &pixel);
  for (const int32_t none : {0, -1, INT32_MIN})
    EXPECT_EQ(sharpener.Sharpen({&pixel, 1}, 1, 1, none, 8).pData, &pixel);
  for (const uint32_t side : {0U, Sharpener::kMaxSide + 1, UINT32_MAX}) {
    EXPECT_EQ(sharpener.Sharpen({&pixel, side}, side, 1, 8, 2).pData, nullptr);
    EXPECT_EQ(sharpener.Sharpen({&pixel, 1}, 1, side, 8, 2).pData, nullptr);
  }
}

}  // namespace
