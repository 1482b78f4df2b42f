#include "tools/qxplay/ThumbnailSheet.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

constexpr int kColumns = 4;
constexpr int kGap = 8;
constexpr int kLabelHeight = 20;
constexpr uint8_t kBackground = 24;
constexpr uint8_t kInk = 220;

// Five columns, seven rows; the top row's bits come first, the leftmost is the highest.
constexpr int kGlyphWidth = 5, kGlyphHeight = 7, kGlyphScale = 2;
struct Glyph {
  char character;
  uint8_t rows[kGlyphHeight];
};
constexpr Glyph kGlyphs[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {':', {0x00, 0x04, 0x04, 0x00, 0x04, 0x04, 0x00}}, {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x06, 0x06}},
};

// Cut off at the image's edges.
void DrawText(RgbImage& image, int left, int top, std::string_view text) {
  for (const char character : text) {
    const auto* glyph = std::ranges::find(kGlyphs, character, &Glyph::character);
    if (glyph == std::end(kGlyphs)) continue;
    for (int y = 0; y < kGlyphHeight * kGlyphScale; ++y) {
      for (int x = 0; x < kGlyphWidth * kGlyphScale; ++x) {
        const bool inked = glyph->rows[y / kGlyphScale] >> (kGlyphWidth - 1 - x / kGlyphScale) & 1;
        const bool inside = left + x < image.width && top + y < image.height;
        if (inked && inside) std::memset(image.At(left + x, top + y), kInk, 3);
      }
    }
    left += (kGlyphWidth + 1) * kGlyphScale;
  }
}

std::string TimeLabel(std::chrono::milliseconds elapsed) {
  const auto tenths = static_cast<long long>(elapsed.count() / 100);
  char text[32];
  snprintf(text, sizeof(text), "%lld:%02lld.%lld", tenths / 600, tenths / 10 % 60, tenths % 10);
  return text;
}

void Paste(RgbImage& sheet, int left, int top, const RgbImage& image) {
  const int width = std::min(image.width, sheet.width - left),
            height = std::min(image.height, sheet.height - top);
  for (int y = 0; y < height; ++y) {
    std::memcpy(sheet.At(left, top + y), &image.bytes[static_cast<size_t>(y) * image.width * 3],
                static_cast<size_t>(width) * 3);
  }
}

}  // namespace

RgbImage DrawSheet(const std::vector<Thumbnail>& thumbnails) {
  if (thumbnails.empty()) return {};
  int cellWidth = 0, cellHeight = 0;  // the window may have changed its shape
  for (const Thumbnail& thumbnail : thumbnails) {
    cellWidth = std::max(cellWidth, thumbnail.image.width);
    cellHeight = std::max(cellHeight, thumbnail.image.height + kLabelHeight);
  }
  const int count = static_cast<int>(thumbnails.size());
  const int columns = std::min(count, kColumns), rows = (count + columns - 1) / columns;
  RgbImage sheet(kGap + columns * (cellWidth + kGap), kGap + rows * (cellHeight + kGap), kBackground);
  for (int i = 0; i < count; ++i) {
    const Thumbnail& thumbnail = thumbnails[static_cast<size_t>(i)];
    const int left = kGap + i % columns * (cellWidth + kGap), top = kGap + i / columns * (cellHeight + kGap);
    Paste(sheet, left, top, thumbnail.image);
    DrawText(sheet, left, top + thumbnail.image.height + (kLabelHeight - kGlyphHeight * kGlyphScale) / 2,
             TimeLabel(thumbnail.elapsed));
  }
  return sheet;
}
