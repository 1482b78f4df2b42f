// Where the pictures of several players stand in one window. Pure arithmetic in pixels.
#pragma once

struct Point {
  int x = 0;
  int y = 0;
  bool operator==(const Point&) const = default;
};

// right and bottom lie just outside.
struct Area {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  int Width() const { return right - left; }
  int Height() const { return bottom - top; }
  bool Contains(const Point& point) const {
    return point.x >= left && point.x < right && point.y >= top && point.y < bottom;
  }
  bool operator==(const Area&) const = default;
};

// The smallest grid, as square as can be and never taller than wide, that holds `count` (at least 1) cells.
struct Grid {
  int columns = 1;
  int rows = 1;
  static Grid ForCount(int count);
  bool operator==(const Grid&) const = default;
};

// Cell `index`, row by row. The cells cover `window` without gaps; their sizes differ by at most a pixel.
Area CellOf(const Grid& grid, const Area& window, int index);

// The largest area in the middle of `cell` with the shape of a width x height picture; the cell itself when
// the picture has no size. Never empty unless the cell is.
Area FitInside(const Area& cell, int width, int height);

// Where a small window with the whole picture lies on this picture.
Area CornerOf(const Area& picture);

// What lies at `part` of a width x height picture when that is stretched to an area at (0, 0) as large as
// `shown`.
Area ScaleTo(const Area& shown, const Area& part, int width, int height);
