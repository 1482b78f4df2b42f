// The contact sheet: which pictures are taken, what becomes of their pixels, and the file.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <filesystem>

#include "tools/qxplay/ContactSheet.h"

namespace {

using Milliseconds = ContactSheet::Milliseconds;

// A surface of one colour, with rows longer than the picture.
struct Surface {
  Surface(int width, int height, uint8_t blue, uint8_t green, uint8_t red)
      : view{nullptr, width * 4 + 12, width, height} {
    bytes.assign(static_cast<size_t>(view.pitch) * height, 0xEE);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const uint8_t pixel[] = {blue, green, red, 0xEE};
        std::copy(pixel, pixel + 4, &bytes[static_cast<size_t>(y) * view.pitch + static_cast<size_t>(x) * 4]);
      }
    }
    view.top = bytes.data();
  }
  std::vector<uint8_t> bytes;
  PixelView view;
};

TEST(ContactSheet, ShrinksByMeans) {
  Surface surface(4, 2, 0, 100, 200);
  surface.bytes[0] = 80;  // blue of the top left pixel: a quarter of the first small one
  const RgbImage image = Shrink(surface.view, 2);
  EXPECT_EQ(image.width, 2);
  EXPECT_EQ(image.height, 1);
  EXPECT_EQ(image.bytes, (std::vector<uint8_t>{200, 100, 20, 200, 100, 0}));
  EXPECT_EQ(Shrink(Surface(3, 5, 1, 2, 3).view, 320).bytes.size(), 45u);      // never enlarged
  EXPECT_EQ(Shrink(Surface(1000, 1, 1, 2, 3).view, 320).bytes.size(), 960u);  // never gone
}

// However long the run: 12 to 24 pictures at equal distances, from its begin to its end.
TEST(ContactSheet, SpreadsThePicturesOverTheRun) {
  const Surface surface(8, 8, 0, 0, 0);
  for (const int seconds : {20, 61, 3600}) {
    ContactSheet sheet;
    int added = 0;
    for (int ms = 0; ms <= seconds * 1000; ms += 40) {
      if (!sheet.IsDue(Milliseconds(ms))) continue;
      sheet.Add(Milliseconds(ms), surface.view);
      ++added;
    }
    const std::vector<Milliseconds> times = sheet.Times();
    ASSERT_GE(times.size(), ContactSheet::kMostPictures / 2);
    EXPECT_LT(times.size(), ContactSheet::kMostPictures);
    EXPECT_LT(added, 250);
    const Milliseconds step = times[1] - times[0];
    for (size_t i = 0; i < times.size(); ++i)
      EXPECT_EQ(times[i], step * i);
    EXPECT_GT(times.back() + step, Milliseconds(seconds * 1000));
  }
}

TEST(ContactSheet, WritesWhatItTookIntoAFile) {
  const std::string file = testing::TempDir() + "sheet.png";
  std::filesystem::remove(file);
  ContactSheet sheet;
  std::string error;
  EXPECT_FALSE(sheet.Write(file, error));
  EXPECT_FALSE(error.empty());
  sheet.Add(Milliseconds(0), PixelView{});  // a window off the screen
  EXPECT_TRUE(sheet.Times().empty());
  sheet.Add(Milliseconds(0), Surface(640, 360, 10, 20, 30).view);
  sheet.Add(Milliseconds(250), Surface(640, 360, 40, 50, 60).view);
  ASSERT_TRUE(sheet.Write(file, error)) << error;

  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  ASSERT_NE(png_image_begin_read_from_file(&png, file.c_str()), 0) << png.message;
  png.format = PNG_FORMAT_RGB;
  RgbImage read(static_cast<int>(png.width), static_cast<int>(png.height), 0);
  ASSERT_NE(png_image_finish_read(&png, nullptr, read.bytes.data(), 0, nullptr), 0) << png.message;
  const std::vector<uint8_t> first(read.At(100, 100), read.At(101, 100)),
      second(read.At(500, 100), read.At(501, 100));
  EXPECT_EQ(first, (std::vector<uint8_t>{30, 20, 10}));
  EXPECT_EQ(second, (std::vector<uint8_t>{60, 50, 40}));
  EXPECT_FALSE(sheet.Write("/nowhere/sheet.png", error));
  std::filesystem::remove(file);
}

}  // namespace
