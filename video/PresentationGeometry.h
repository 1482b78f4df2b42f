// Where a picture's rectangles lie: which screens a window touches, what is copied, and to where. Pure
// functions that are safe on any rectangle; coordinates that leave the 32-bit range stay at its end.
#pragma once

#include <cstdint>

#include "platform/User.h"
#include "video/DecodedPicture.h"

// right - left and bottom - top.
int32_t RectWidth(const RECT& rect);
int32_t RectHeight(const RECT& rect);

// (0, 0, width, height)
RECT RectOfSize(int32_t width, int32_t height);

// True when the rectangles share at least one pixel of the virtual desktop.
bool Overlaps(const RECT& window, const RECT& monitor);

// Half-size mode: a planar picture in a window of at most half its width and half its height (rounded down)
// is converted at half size, a quarter of the work.
bool UseHalfSize(uint32_t format, int32_t width, int32_t height, const RECT& window);

// The part of the off-screen surface to show: `source` (picture pixels) without `nCrop` pixels at its right
// and half as many at its bottom, in the pixels of a half-size surface when `halfSize`.
RECT SourceOnSurface(const RECT& source, uint32_t nCrop, bool halfSize);

// What is shown after zooming in: from the corner of `shown` towards (x, y), picture pixels, which becomes
// the centre of a window of half the picture's size that stays inside the picture. `level`, at least 1,
// divides both the way there and, plus one, the picture's size. width, height: of the picture.
RECT ZoomedIn(const RECT& shown, uint32_t width, uint32_t height, int32_t x, int32_t y, int32_t level);

// A window's rectangle in the coordinates of a screen's own surfaces.
RECT WindowOnScreen(const RECT& window, const RECT& monitor);

// Cuts a rectangle in a screen's own coordinates to that screen.
RECT ClipToScreen(const RECT& target, const RECT& monitor);
