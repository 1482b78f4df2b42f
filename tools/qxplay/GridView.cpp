#include "tools/qxplay/GridView.h"

std::optional<Area> GridView::CellOf(size_t tile, const Area& window) const {
  if (m_bLarge) return m_Selected == tile ? std::optional(window) : std::nullopt;
  return ::CellOf(m_Grid, window, static_cast<int>(tile));
}

std::optional<size_t> GridView::TileAt(const Point& point, const Area& window) const {
  for (size_t i = 0; i < m_nTiles; ++i) {
    const auto cell = CellOf(i, window);
    if (cell && cell->Contains(point)) return i;
  }
  return std::nullopt;
}

void GridView::Click(std::optional<size_t> tile) {
  if (m_bLarge || m_nTiles < 2) return;
  m_Selected = tile == m_Selected ? std::nullopt : tile;
}

void GridView::SelectNext() {
  if (m_nTiles < 2) return;
  m_Selected = m_Selected ? *m_Selected + 1 : 0;
  if (*m_Selected < m_nTiles) return;
  m_Selected.reset();
  m_bLarge = false;
}

bool GridView::ToggleLarge(std::optional<size_t> tile) {
  if (m_nTiles < 2 || (!m_bLarge && !tile)) return false;
  m_bLarge = !m_bLarge;
  m_Selected = m_bLarge ? tile : std::nullopt;
  return true;
}
