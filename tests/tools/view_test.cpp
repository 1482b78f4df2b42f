// What the user does to the view with mouse and keys: zoom, gestures, the grid and its selection, names of
// snapshots.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tools/qxplay/Gestures.h"
#include "tools/qxplay/GridView.h"
#include "tools/qxplay/OverlayText.h"
#include "tools/qxplay/SnapshotName.h"
#include "tools/qxplay/ZoomView.h"

namespace {

TEST(ZoomView, KeepsThePointShapeAndEdges) {
  ZoomView view;
  EXPECT_EQ(view.Part(), Area{});
  view.SetPicture(1280, 720);
  EXPECT_FALSE(view.Zoom(0.8, 0.5, 0.5) || view.Pull(0.5, 0.5));
  const struct {
    double factor, x, y, right, down;
    Area part;
  } steps[] = {{2, 0.5, 0.5, 0, 0, {320, 180, 960, 540}},  // the library's own first step
               {2, 1, 0.25, 0, 0, {640, 225, 960, 405}},   // the point stays where it was
               {1, 0, 0, -0.5, 0.25, {800, 180, 1120, 360}},
               {1, 0, 0, -9, 9, {960, 0, 1280, 180}},  // no further than the picture
               {1, 0, 0, 0.5, 0, {800, 0, 1120, 180}},
               {1, 0, 0, -0.5, 0, {960, 0, 1280, 180}},
               {100, 1, 0, 0, 0, {1200, 0, 1280, 45}},  // nor closer than 16 times
               {0.125, 0.5, 0.5, 0, 0, {640, 0, 1280, 360}},
               {0.1, 0, 1, 0, 0, {0, 0, 1280, 720}}};
  for (const auto& step : steps) {
    view.Zoom(step.factor, step.x, step.y);
    view.Pull(step.right, step.down);
    EXPECT_EQ(view.Part(), step.part) << &step - steps;
  }
  EXPECT_TRUE(view.IsWhole());
  view.Zoom(4, 1, 1);
  view.SetPicture(640, 360);  // of a camera that was switched over: the same part
  EXPECT_EQ(view.Part(), (Area{480, 270, 640, 360}));
  view.SetPicture(8, 8);  // nothing to go closer to
  EXPECT_EQ(view.Part(), (Area{0, 0, 8, 8}));
}

TEST(Gestures, TellClicksDragsAndTheWheelApart) {
  using Press = PointerEvent::Kind;
  using Kind = Gesture::Kind;
  const struct {
    PointerEvent event;
    std::optional<Gesture> gesture;
  } steps[] = {{{Press::kMove, {5, 5}}, {}},  // of a button that went down elsewhere
               {{Press::kPress, {10, 10}, 1}, {}},
               {{Press::kMove, {13, 8}}, {}},
               {{Press::kRelease, {13, 8}, 1}, Gesture{Kind::kClick, {10, 10}, {}}},
               {{Press::kPress, {10, 10}, 2}, Gesture{Kind::kDoubleClick, {10, 10}, {}}},
               {{Press::kMove, {60, 60}}, {}},
               {{Press::kRelease, {60, 60}, 2}, {}},
               {{Press::kPress, {10, 10}, 3}, {}},
               {{Press::kMove, {20, 5}}, Gesture{Kind::kDrag, {10, 10}, {10, -5}}},
               {{Press::kWheel, {20, 5}, -2}, Gesture{Kind::kWheel, {20, 5}, {}, -2}},
               {{Press::kMove, {11, 10}}, Gesture{Kind::kDrag, {10, 10}, {-9, 5}}},
               {{Press::kRelease, {11, 10}, 1}, {}}};
  Gestures gestures;
  for (const auto& step : steps)
    EXPECT_EQ(gestures.Take(step.event), step.gesture) << &step - steps;
}

TEST(GridView, SelectsAndEnlarges) {
  const Area window = {100, 100, 500, 400}, lastCell = {300, 250, 500, 400};
  GridView grid(4);
  EXPECT_EQ(grid.CellOf(3, window), lastCell);
  EXPECT_EQ(grid.TileAt({499, 399}, window), 3u);
  EXPECT_EQ(grid.TileAt({99, 100}, window), std::nullopt);
  grid.Click(3);
  EXPECT_EQ(grid.Shown(), 3u);
  grid.Click(3);
  EXPECT_EQ(grid.Selected(), std::nullopt);
  EXPECT_FALSE(grid.ToggleLarge(std::nullopt));
  EXPECT_TRUE(grid.ToggleLarge(2));
  EXPECT_EQ(grid.CellOf(2, window), window);
  EXPECT_EQ(grid.CellOf(3, window), std::nullopt);
  EXPECT_EQ(grid.TileAt({499, 399}, window), 2u);
  grid.Click(2);
  EXPECT_EQ(grid.Selected(), 2u);
  grid.SelectNext();
  EXPECT_EQ(grid.CellOf(3, window), window);
  grid.SelectNext();  // past the last one: all of them
  EXPECT_EQ(grid.CellOf(3, window), lastCell);
  EXPECT_EQ(grid.Selected(), std::nullopt);
  EXPECT_FALSE(GridView(1).ToggleLarge(0));
}

TEST(Names, OfSnapshotsHoldNoPasswordAndNoPath) {
  setenv("TZ", "UTC", 1);
  const std::chrono::system_clock::time_point time{std::chrono::milliseconds(1773480413589)};
  for (const auto& [source, name] : {std::pair{"/film/my yard.v2.mp4", "my-yard-v2"},
                                     {"rtsp://me:p@ss@10.0.0.7:554/a/../b?key=1", "10-0-0-7-554-a----b"},
                                     {"../..", "-"},
                                     {"大门.sv5", "大门"}})
    EXPECT_EQ(SnapshotName(source, time), name + std::string("-20260314-092653-589"));
}

TEST(OverlayText, IsGb2312OrRefused) {
  EXPECT_EQ(ToGb2312("Gate \xE7\x9B\x91"), "Gate \xBC\xE0");
  EXPECT_EQ(ToGb2312("\xE7\x9B"), std::nullopt);      // cut off
  EXPECT_EQ(ToGb2312("\xE2\x82\xAC"), std::nullopt);  // the euro came later
}

}  // namespace
