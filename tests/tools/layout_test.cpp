// The grid: shape, cells without gaps, pictures in their own shape.
#include "tools/qxplay/Layout.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Windows of odd sizes, on a second monitor left of the first, and smaller than the grid.
TEST(Layout, CellsCoverTheWindowExactlyOnce) {
  EXPECT_EQ(Grid::ForCount(10), (Grid{4, 3}));
  const Area windows[] = {{0, 0, 1280, 720}, {-1921, 13, -1, 1090}, {5, 5, 7, 6}};
  for (const Area& window : windows) {
    for (const int count : {1, 2, 3, 7, 12}) {
      const Grid grid = Grid::ForCount(count);
      std::vector<int> covered(static_cast<size_t>(window.Width() * window.Height()), 0);
      for (int i = 0; i < grid.columns * grid.rows; ++i) {
        const Area cell = CellOf(grid, window, i);
        for (int y = cell.top; y < cell.bottom; ++y) {
          for (int x = cell.left; x < cell.right; ++x) {
            ++covered.at(static_cast<size_t>((y - window.top) * window.Width() + x - window.left));
          }
        }
      }
      EXPECT_EQ(covered, std::vector<int>(covered.size(), 1)) << count;
    }
  }
}

TEST(Layout, PictureKeepsItsShape) {
  EXPECT_EQ(FitInside({0, 0, 1280, 720}, 1920, 1080), (Area{0, 0, 1280, 720}));
  EXPECT_EQ(FitInside({10, 20, 410, 320}, 1600, 900), (Area{10, 57, 410, 282}));  // bars above and below
  EXPECT_EQ(FitInside({0, 0, 100, 100}, 10000, 1), (Area{0, 49, 100, 50}));       // never empty
  EXPECT_EQ(FitInside({0, 0, 100, 100}, 0, 0), (Area{0, 0, 100, 100}));           // size not known
  EXPECT_EQ(FitInside({3, 3, 3, 9}, 16, 9), (Area{3, 3, 3, 9}));                  // no room
}

}  // namespace
