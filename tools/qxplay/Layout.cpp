#include "tools/qxplay/Layout.h"

#include <algorithm>
#include <cstdint>

Grid Grid::ForCount(int count) {
  Grid grid;
  while (grid.columns * grid.columns < count)
    ++grid.columns;
  grid.rows = std::max(1, (count + grid.columns - 1) / grid.columns);
  return grid;
}

Area CellOf(const Grid& grid, const Area& window, int index) {
  const int column = index % grid.columns, row = index / grid.columns;
  return {.left = window.left + window.Width() * column / grid.columns,
          .top = window.top + window.Height() * row / grid.rows,
          .right = window.left + window.Width() * (column + 1) / grid.columns,
          .bottom = window.top + window.Height() * (row + 1) / grid.rows};
}

Area FitInside(const Area& cell, int width, int height) {
  if (width <= 0 || height <= 0 || cell.Width() <= 0 || cell.Height() <= 0) return cell;
  const int64_t widthAtFullHeight = int64_t{cell.Height()} * width / height;
  int fitWidth = cell.Width(), fitHeight = cell.Height();
  if (widthAtFullHeight <= cell.Width()) {
    fitWidth = std::max(1, static_cast<int>(widthAtFullHeight));
  } else {
    fitHeight = std::max(1, static_cast<int>(int64_t{cell.Width()} * height / width));
  }
  const int left = cell.left + (cell.Width() - fitWidth) / 2;
  const int top = cell.top + (cell.Height() - fitHeight) / 2;
  return {.left = left, .top = top, .right = left + fitWidth, .bottom = top + fitHeight};
}

Area CornerOf(const Area& picture) {
  const int margin = std::max(1, picture.Width() / 50);
  const int width = std::max(1, picture.Width() * 3 / 10), height = std::max(1, picture.Height() * 3 / 10);
  const int right = picture.right - margin, bottom = picture.bottom - margin;
  return {.left = right - width, .top = bottom - height, .right = right, .bottom = bottom};
}

Area ScaleTo(const Area& shown, const Area& part, int width, int height) {
  if (width <= 0 || height <= 0) return {};
  const auto across = [&](int x) { return static_cast<int>(int64_t{x} * shown.Width() / width); };
  const auto down = [&](int y) { return static_cast<int>(int64_t{y} * shown.Height() / height); };
  return {.left = across(part.left),
          .top = down(part.top),
          .right = across(part.right),
          .bottom = down(part.bottom)};
}
