// Where pictures stand: the grid of a window, and the contact sheet. The file of the sheet is looked at in
// qxplay_test.cpp.
#include <gtest/gtest.h>

#include "tools/qxplay/ContactSheet.h"
#include "tools/qxplay/Layout.h"

namespace {

using Milliseconds = ContactSheet::Milliseconds;

// A surface of one colour, with rows longer than the picture.
struct Surface {
  Surface(int width, int height, uint32_t bgra) : view{nullptr, width * 4 + 12, width, height} {
    words.assign(static_cast<size_t>(width + 3) * static_cast<size_t>(height), bgra);
    view.top = reinterpret_cast<uint8_t*>(words.data());
  }
  std::vector<uint32_t> words;
  PixelView view;
};

TEST(ContactSheet, ShrinksByMeans) {
  Surface surface(4, 2, 0xEEC86400);
  surface.words[0] += 80;  // of blue in the top left pixel: a quarter of the first small one
  const RgbImage image = Shrink(surface.view, 2);
  EXPECT_EQ(image.width, 2);
  EXPECT_EQ(image.height, 1);
  EXPECT_EQ(image.bytes, (std::vector<uint8_t>{200, 100, 20, 200, 100, 0}));
  EXPECT_EQ(Shrink(Surface(3, 5, 0).view, 320).bytes.size(), 45u);      // never enlarged
  EXPECT_EQ(Shrink(Surface(1000, 1, 0).view, 320).bytes.size(), 960u);  // never gone
}

// However long the run: 12 to 24 pictures at equal distances, from its begin to its end.
TEST(ContactSheet, SpreadsThePicturesOverTheRun) {
  const Surface surface(8, 8, 0);
  for (const int seconds : {20, 61, 3600}) {
    ContactSheet sheet;
    std::string error;
    EXPECT_FALSE(sheet.Write("unwritten.png", error));
    sheet.Add(Milliseconds(0), PixelView{});  // a window off the screen
    sheet.Add(Milliseconds(0), surface.view);
    EXPECT_TRUE(!sheet.IsDue(Milliseconds(199)) && sheet.IsDue(Milliseconds(200)));
    for (int ms = 0; ms <= seconds * 1000; ms += 40)
      if (sheet.IsDue(Milliseconds(ms))) sheet.Add(Milliseconds(ms), surface.view);
    const std::vector<Milliseconds> times = sheet.Times();
    ASSERT_GE(times.size(), ContactSheet::kMostPictures / 2);
    EXPECT_LT(times.size(), ContactSheet::kMostPictures);
    const Milliseconds step = times[1] - times[0];
    for (size_t i = 0; i < times.size(); ++i)
      EXPECT_EQ(times[i], step * i);
    EXPECT_GT(times.back() + step, Milliseconds(seconds * 1000));
  }
}

// Windows of odd sizes, on a second monitor left of the first, and smaller than the grid.
TEST(Layout, CellsCoverTheWindowExactlyOnce) {
  EXPECT_EQ(Grid::ForCount(10), (Grid{4, 3}));
  for (const Area& window : {Area{0, 0, 128, 72}, {-1921, 13, -1800, 90}, {5, 5, 7, 6}}) {
    for (const int count : {1, 2, 3, 7, 12}) {
      const Grid grid = Grid::ForCount(count);
      std::vector<int> covered(static_cast<size_t>(window.Width() * window.Height()), 0);
      for (int i = 0; i < grid.columns * grid.rows; ++i) {
        const Area cell = CellOf(grid, window, i);
        for (int y = cell.top; y < cell.bottom; ++y)
          for (int x = cell.left; x < cell.right; ++x)
            ++covered.at(static_cast<size_t>((y - window.top) * window.Width() + x - window.left));
      }
      EXPECT_EQ(covered, std::vector<int>(covered.size(), 1)) << count;
    }
  }
}

TEST(Layout, PictureKeepsItsShape) {
  EXPECT_EQ(FitInside({10, 20, 410, 320}, 1600, 900), (Area{10, 57, 410, 282}));  // bars above and below
  EXPECT_EQ(FitInside({0, 0, 100, 100}, 10000, 1), (Area{0, 49, 100, 50}));       // never empty
  EXPECT_EQ(FitInside({0, 0, 100, 100}, 0, 0), (Area{0, 0, 100, 100}));           // size not known
  EXPECT_EQ(FitInside({3, 3, 3, 9}, 16, 9), (Area{3, 3, 3, 9}));                  // no room
}

}  // namespace
