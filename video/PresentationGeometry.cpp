// Rectangle decisions of the presentation.
#include "video/PresentationGeometry.h"

#include <algorithm>
#include <limits>

namespace {

int32_t Saturate(int64_t value) {
  return static_cast<int32_t>(
      std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

int32_t Minus(LONG value, int64_t amount) {
  return Saturate(int64_t{value} - amount);
}

// One axis of ZoomedIn.
struct Span {
  int32_t begin;
  int32_t end;
};
Span ZoomSpan(int32_t begin, uint32_t size, int32_t point, int32_t level) {
  const int64_t half = size / 2;
  const int64_t quarter = size / 4;
  const int64_t offset = std::clamp(point - quarter, int64_t{0}, half);
  const int32_t from = Saturate(begin + offset / level);
  return {from, Saturate(std::min<int64_t>(from + size / (int64_t{level} + 1), size))};
}

}  // namespace

int32_t RectWidth(const RECT& rect) {
  return Minus(rect.right, rect.left);
}

int32_t RectHeight(const RECT& rect) {
  return Minus(rect.bottom, rect.top);
}

RECT RectOfSize(int32_t width, int32_t height) {
  return {0, 0, width, height};
}

bool Overlaps(const RECT& window, const RECT& monitor) {
  return window.left < monitor.right && window.right > monitor.left && window.top < monitor.bottom &&
         window.bottom > monitor.top;
}

bool UseHalfSize(uint32_t format, int32_t width, int32_t height, const RECT& window) {
  const uint32_t windowWidth = static_cast<uint32_t>(window.right) - static_cast<uint32_t>(window.left);
  const uint32_t windowHeight = static_cast<uint32_t>(window.bottom) - static_cast<uint32_t>(window.top);
  return format == QPF_YV12 && windowWidth <= static_cast<uint32_t>(width / 2) &&
         windowHeight <= static_cast<uint32_t>(height / 2);
}

RECT SourceOnSurface(const RECT& source, uint32_t nCrop, bool halfSize) {
  const RECT shown = {source.left, source.top, Minus(source.right, nCrop), Minus(source.bottom, nCrop / 2)};
  if (!halfSize) return shown;
  return {shown.left / 2, shown.top / 2, shown.right / 2, shown.bottom / 2};
}

RECT ZoomedIn(const RECT& shown, uint32_t width, uint32_t height, int32_t x, int32_t y, int32_t level) {
  const Span horizontal = ZoomSpan(shown.left, width, x, level);
  const Span vertical = ZoomSpan(shown.top, height, y, level);
  return {horizontal.begin, vertical.begin, horizontal.end, vertical.end};
}

RECT WindowOnScreen(const RECT& window, const RECT& monitor) {
  return {Minus(window.left, monitor.left), Minus(window.top, monitor.top), Minus(window.right, monitor.left),
          Minus(window.bottom, monitor.top)};
}

RECT ClipToScreen(const RECT& target, const RECT& monitor) {
  return {std::max<LONG>(target.left, 0), std::max<LONG>(target.top, 0),
          std::min<LONG>(target.right, RectWidth(monitor)),
          std::min<LONG>(target.bottom, RectHeight(monitor))};
}
