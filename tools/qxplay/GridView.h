// The tiles as the user sees them: all in a grid or one in full size, and which one is selected. Pure.
#pragma once

#include <cstddef>
#include <optional>

#include "tools/qxplay/Layout.h"

class GridView {
 public:
  explicit GridView(size_t tiles) : m_nTiles(tiles), m_Grid(Grid::ForCount(static_cast<int>(tiles))) {}

  // Where a tile has its place in this window; none while another one is in full size.
  std::optional<Area> CellOf(size_t tile, const Area& window) const;
  std::optional<size_t> TileAt(const Point& point, const Area& window) const;

  // None: what the user does goes to all.
  std::optional<size_t> Selected() const { return m_Selected; }
  // The one that is heard and told of: the selected one, or the first.
  size_t Shown() const { return m_Selected.value_or(0); }
  // A click selects; on the selected tile, or beside all of them, it ends the selection. The one in full size
  // stays selected.
  void Click(std::optional<size_t> tile);
  // From one tile to the next, and from the last to none. What is in full size goes along.
  void SelectNext();
  // To full size and back, on a grid of several; the tile in full size is selected. Answers whether the
  // places changed.
  bool ToggleLarge(std::optional<size_t> tile);

 private:
  size_t m_nTiles;
  Grid m_Grid;
  std::optional<size_t> m_Selected;
  bool m_bLarge = false;  // the selected one
};
