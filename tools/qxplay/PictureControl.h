// What the user does with the pictures: zoom, sub windows, crop, statistics, processing and snapshots.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/Console.h"
#include "tools/qxplay/Command.h"
#include "tools/qxplay/GridView.h"
#include "tools/qxplay/Host.h"
#include "tools/qxplay/Snapshots.h"
#include "tools/qxplay/Tile.h"

// Main thread. Host, console, tiles and grid outlive it.
class PictureControl {
 public:
  using Tiles = std::vector<std::unique_ptr<Tile>>;
  // redraw: shows the last picture of a tile again.
  PictureControl(Host& host, Console& console, const Tiles& tiles, const GridView& grid,
                 std::string snapshotDir, std::function<void(size_t tile)> redraw);

  // On the selected tile, or on all; zoom on the one under the mouse. False when it is no command on
  // pictures.
  bool Do(const Command& command);
  // On the tile under it. Clicks are not for this.
  void Do(const Gesture& gesture);

 private:
  static constexpr double kStep = 1.25;  // of zoom

  std::vector<size_t> Meant() const;
  std::optional<size_t> TileAt(const Point& point) const;
  void Zoom(double factor);
  void SwitchSubWindows(const std::vector<size_t>& meant);
  void SwitchCrop(const std::vector<size_t>& meant);
  void SwitchStatistics(const std::vector<size_t>& meant);
  void SwitchProcessing(const std::vector<size_t>& meant);
  void TakeSnapshots(const std::vector<size_t>& meant);

  Host& m_Host;
  Console& m_Console;
  const Tiles& m_Tiles;
  const GridView& m_Grid;
  const std::function<void(size_t tile)> m_Redraw;
  Snapshots m_Snapshots;
};
