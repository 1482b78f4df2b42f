#include "tools/qxplay/ContactSheet.h"

#include <png.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

constexpr int kThumbnailWidth = 320;
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

std::string TimeLabel(ContactSheet::Milliseconds elapsed) {
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

RgbImage::RgbImage(int widthPixels, int heightPixels, uint8_t grey)
    : width(widthPixels),
      height(heightPixels),
      bytes(static_cast<size_t>(widthPixels) * heightPixels * 3, grey) {}

RgbImage Shrink(const PixelView& view, int width) {
  width = std::min(width, view.width);
  const int height = std::max(1, static_cast<int>(int64_t{view.height} * width / view.width));
  RgbImage image(width, height, 0);
  for (int y = 0; y < height; ++y) {
    const int top = static_cast<int>(int64_t{view.height} * y / height);
    const int bottom = std::max(top + 1, static_cast<int>(int64_t{view.height} * (y + 1) / height));
    for (int x = 0; x < width; ++x) {
      const int left = static_cast<int>(int64_t{view.width} * x / width);
      const int right = std::max(left + 1, static_cast<int>(int64_t{view.width} * (x + 1) / width));
      uint32_t blue = 0, green = 0, red = 0;
      for (int row = top; row < bottom; ++row) {
        const uint8_t* pixel =
            view.top + static_cast<ptrdiff_t>(row) * view.pitch + static_cast<ptrdiff_t>(left) * 4;
        for (int column = left; column < right; ++column, pixel += 4) {
          blue += pixel[0];
          green += pixel[1];
          red += pixel[2];
        }
      }
      const uint32_t count = static_cast<uint32_t>(bottom - top) * static_cast<uint32_t>(right - left);
      uint8_t* target = image.At(x, y);
      target[0] = static_cast<uint8_t>(red / count);
      target[1] = static_cast<uint8_t>(green / count);
      target[2] = static_cast<uint8_t>(blue / count);
    }
  }
  return image;
}

void ContactSheet::Add(Milliseconds elapsed, const PixelView& view) {
  if (!view.top || view.width <= 0 || view.height <= 0) return;
  const MutexLock lock(m_Mutex);
  if (!IsDue(elapsed)) return;
  m_Thumbnails.push_back({.elapsed = elapsed, .image = Shrink(view, kThumbnailWidth)});
  if (m_Thumbnails.size() >= kMostPictures) {
    // Every second one stays, at twice the distance.
    for (size_t i = 0; i < kMostPictures / 2; ++i)
      std::swap(m_Thumbnails[i], m_Thumbnails[2 * i]);
    m_Thumbnails.resize(kMostPictures / 2);
    m_Interval *= 2;
  }
  // On the grid of intervals, so that lateness does not add up.
  const Milliseconds last = m_Thumbnails.back().elapsed;
  m_llNextDueMs = (last / m_Interval + 1) * m_Interval.count();
}

std::vector<ContactSheet::Milliseconds> ContactSheet::Times() const {
  const MutexLock lock(m_Mutex);
  std::vector<Milliseconds> times;
  for (const Thumbnail& thumbnail : m_Thumbnails)
    times.push_back(thumbnail.elapsed);
  return times;
}

RgbImage ContactSheet::Draw() const {
  const MutexLock lock(m_Mutex);
  if (m_Thumbnails.empty()) return {};
  int cellWidth = 0, cellHeight = 0;  // the window may have changed its shape
  for (const Thumbnail& thumbnail : m_Thumbnails) {
    cellWidth = std::max(cellWidth, thumbnail.image.width);
    cellHeight = std::max(cellHeight, thumbnail.image.height + kLabelHeight);
  }
  const int count = static_cast<int>(m_Thumbnails.size());
  const int columns = std::min(count, kColumns), rows = (count + columns - 1) / columns;
  RgbImage sheet(kGap + columns * (cellWidth + kGap), kGap + rows * (cellHeight + kGap), kBackground);
  for (int i = 0; i < count; ++i) {
    const Thumbnail& thumbnail = m_Thumbnails[static_cast<size_t>(i)];
    const int left = kGap + i % columns * (cellWidth + kGap), top = kGap + i / columns * (cellHeight + kGap);
    Paste(sheet, left, top, thumbnail.image);
    DrawText(sheet, left, top + thumbnail.image.height + (kLabelHeight - kGlyphHeight * kGlyphScale) / 2,
             TimeLabel(thumbnail.elapsed));
  }
  return sheet;
}

bool ContactSheet::Write(const std::string& file, std::string& error) const {
  const RgbImage sheet = Draw();
  if (sheet.bytes.empty()) {
    error = "no picture to write";
    return false;
  }
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(sheet.width);
  png.height = static_cast<png_uint_32>(sheet.height);
  png.format = PNG_FORMAT_RGB;
  const bool written = png_image_write_to_file(&png, file.c_str(), 0, sheet.bytes.data(), 0, nullptr) != 0;
  if (!written) error = png.message;
  png_image_free(&png);
  return written;
}
