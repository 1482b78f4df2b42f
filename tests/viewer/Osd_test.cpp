// The text overlay beside a pixel-by-pixel reference, the glyph file in every state, and the statistics'
// lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/GuardedPlane.h"
#include "tests/support/TempDir.h"
#include "video/Osd.h"
#include "video/OsdStatistics.h"
#include "video/TextOsdDrawer.h"

namespace {

std::string g_FontPath;
std::atomic<int> g_nAsked;
String FontPath() {
  ++g_nAsked;
  return String(g_FontPath);
}

std::string RandomBytes(size_t count) {
  std::minstd_rand random(static_cast<unsigned>(count));
  std::string bytes(count, '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(random() >> 8);
  return bytes;
}

// Rows 0xA1 to 0xB0 and a half glyph.
const std::string kFont = RandomBytes(16 * 94 * 32 + 16);

OsdItem Item(const char* text, int32_t x, int32_t y, uint8_t alpha = 255, int32_t anchor = 0) {
  return {kOsdText, 0, text, anchor, x, y, {200, 0, 90, alpha}, {}};
}

// A pixel of the glyph of bytes c, next at (x, y) of its unscaled box.
bool GlyphPixel(int c, int next, int x, int y) {
  if (c < 128) return c < 32 || c > 126 || (kAsciiGlyphs[size_t(c - 32)][size_t(y)] >> (7 - x) & 1) != 0;
  const int64_t offset = ((c - 0xA1) * 94 + (next - 0xA1)) * 32;
  if (next == 0 || offset < 0 || offset + 32 > static_cast<int64_t>(kFont.size())) return true;
  return (kFont[static_cast<size_t>(offset + 2 * y + x / 8)] >> (7 - x % 8) & 1) != 0;
}

void DrawReference(const OsdItem& item, const View (&plane)[3], int width, int height) {
  const int r = item.abColour[0], g = item.abColour[1], b = item.abColour[2], a = item.abColour[3];
  const int colour[3] = {((66 * r + 129 * g + 25 * b + 128) >> 8) + 16,
                         ((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128,
                         ((112 * r - 94 * g - 18 * b + 128) >> 8) + 128};
  const bool blends = a >= 1 && a <= 254;
  const int s = width < 1280 ? 1 : width <= 1920 ? 2 : 4;
  const std::string text = item.pszText;
  int64_t x = item.nX, y = item.nY;
  if (item.nAnchor == 1 || item.nAnchor == 2) x -= 16 * static_cast<int64_t>(text.size());
  if (item.nAnchor == 2 || item.nAnchor == 3) y -= 16;
  x *= s, y *= s;
  for (size_t at = 0; at < text.size();) {
    const int c = static_cast<uint8_t>(text[at]), next = static_cast<uint8_t>(text.c_str()[at + 1]);
    const int w = (c < 128 ? 8 : 16) * s, h = 16 * s;
    const bool inside = x >= 0 && y >= 0 && x + w < width && y + h < height;
    for (int row = 0; inside && row < h; row += 2) {
      for (int column = 0; column < w; column += 2) {
        int n = 0;
        for (int i = 0; i < 4; ++i) {
          const int px = column + i % 2, py = row + i / 2;
          if (!GlyphPixel(c, next, px / s, py / s)) continue;
          ++n;
          uint8_t& luma = plane[0].Row(static_cast<int32_t>(y) + py)[x + px];
          luma = static_cast<uint8_t>(blends ? ((255 - a) * luma + a * colour[0]) >> 8 : colour[0]);
        }
        for (int p = 1; n > 0 && p < 3; ++p) {
          uint8_t& old = plane[p].Row(static_cast<int32_t>(y + row) / 2)[(x + column) / 2];
          const int k = (n * a) >> 2, target = colour[p] & 255;
          old = static_cast<uint8_t>(blends ? (old * (255 - k) + k * target) >> 8
                                            : (old * (4 - n) + n * target) >> 2);
        }
      }
    }
    x += w;
    at += c < 128 || next == 0 ? 1 : 2;
  }
}

}  // namespace

TEST(TextOsdDrawer, DrawsWhatThePixelByPixelReferenceDrawsAndNothingOutside) {
  TempDir dir;
  std::ofstream(g_FontPath = dir / "font", std::ios::binary) << kFont;
  GlyphFont font(FontPath);
  // Both fonts, codes before, in and behind the file's, control bytes, half a character at the end.
  const std::string mixed =
      "A~\x7F\x01z\xA1\xA1\xB0\xFE\xB1\xA1\xA1\xA0\x80\x20\xFF\xFF"
      "B\xC4";
  const std::string texts[] = {mixed, std::string(9000, 'W')};
  const std::array<int, 2> sizes[] = {{177, 45},  {1279, 35}, {1280, 67}, {1920, 67},
                                      {1921, 72}, {16, 16},   {1, 1}};
  const int places[] = {0, 3, 7, 10, 18, 161, 320, -3, INT_MIN, INT_MAX};
  const int alphas[] = {0, 1, 128, 254, 255};
  std::minstd_rand random;
  const auto pick = [&random](const auto& from) { return from[random() % std::size(from)]; };
  GuardedPlane drawn[3], expected[3];
  for (int round = 0; round < 5000; ++round) {
    const auto [width, height] = pick(sizes);
    const std::string text = pick(texts);
    const OsdItem item = Item(text.c_str(), pick(places), pick(places), static_cast<uint8_t>(pick(alphas)),
                              static_cast<int32_t>(random() % 6) - 1);
    View views[3], reference[3];
    for (int p = 0; p < 3; ++p) {
      const int w = p == 0 ? width : width / 2, h = p == 0 ? height : height / 2;
      views[p] = drawn[p].Place(h, w, w + 3 * p, round % 2 == 0);
      reference[p] = expected[p].Place(h, w, w + 3 * p, false);
    }
    uint8_t* const planes[] = {views[0].data, views[1].data, views[2].data};
    const uint32_t strides[] = {uint32_t(views[0].stride), uint32_t(views[1].stride),
                                uint32_t(views[2].stride)};
    TextOsdDrawer(item, font).DrawYV12(planes, strides, uint32_t(width), uint32_t(height));
    DrawReference(item, reference, width, height);
    for (int p = 0; p < 3; ++p) {
      ASSERT_TRUE(std::ranges::equal(drawn[p].Bytes(), expected[p].Bytes()))
          << width << " at " << item.nX << "," << item.nY << " alpha " << int{item.abColour[3]} << " anchor "
          << item.nAnchor;
    }
  }
}

TEST(GlyphFont, HasTheGlyphsThatTheFileHoldsAndAsksForItOnce) {
  EXPECT_EQ(kAsciiGlyphs['A' - 32],
            (AsciiGlyph{0, 0, 0, 0x10, 0x10, 0x18, 0x28, 0x28, 0x24, 0x3C, 0x44, 0x42, 0x42, 0xE7}));
  EXPECT_EQ(kAsciiGlyphs['~' - 32], (AsciiGlyph{0x30, 0x4C, 0x43}));
  EXPECT_EQ(std::set<AsciiGlyph>(kAsciiGlyphs.begin(), kAsciiGlyphs.end()).size(), 95u);
  TempDir dir;
  for (const size_t bytes : {size_t{0}, size_t{31}, size_t{32}, size_t{63}, size_t{2'000'000}}) {
    std::ofstream(g_FontPath = dir / "font", std::ios::binary) << RandomBytes(bytes);
    GlyphFont font(FontPath);
    g_nAsked = 0;
    std::thread other([&font] { font.Load(); });
    font.Load();
    other.join();
    EXPECT_EQ(g_nAsked, 1);
    EXPECT_EQ(font.GetGlyph("\xA1\xA1").Row(5) == 0xFFFF, bytes < 32) << bytes;
    EXPECT_EQ(font.GetGlyph("\xFF\xFF").Row(5) == 0xFFFF, bytes < 300'000) << bytes;
  }
}

// One bad text of many keeps all away.
TEST(Osd, DrawsEveryTextOrNone) {
  std::vector<uint8_t> plane(3 * 64 * 64, 100);
  DecodedPicture picture;
  picture.nWidth = picture.nHeight = 64;
  for (size_t p = 0; p < 3; ++p)
    picture.pPlane[p] = &plane[p * 64 * 64], picture.nStride[p] = 64;
  Osd osd;
  std::vector<OsdItem> items(10'000, Item("", 0, 0));
  items[1].pszText = nullptr;
  items.back() = Item("\x01", 8, 8);
  for (const auto& [format, type, drawn] : {std::tuple(QPF_NV12, 0, false),
                                            {QPF_YV12, 1, false},
                                            {QPF_YV12, 0xFFFF, false},
                                            {QPF_YV12, 0, true}}) {
    picture.nPixelFormat = format;
    ASSERT_TRUE(osd.SetOSD(items.data(), 10'000));
    items[9'000].wType = static_cast<uint16_t>(type);
    EXPECT_EQ(osd.SetOSD(items.data(), 10'000), type == 0);
    items[9'000].wType = kOsdText;
    osd.Draw(picture);
    EXPECT_EQ(std::ranges::count(plane, 100) != 3 * 64 * 64, drawn) << format << ' ' << type;
  }
}

TEST(OsdStatistics, ReportsAtOnceAndThenOnceASecond) {
  OsdStatistics statistics;
  std::vector<uint32_t> reports;
  uint32_t now = 0xFFFFFF00;  // the clock wraps on the way
  for (int frame = 0; frame < 76; ++frame, now += 40) {
    if (statistics.Count(true, frame % 50 == 0, 10'000, now)) reports.push_back(static_cast<uint32_t>(frame));
    if (statistics.Count(false, false, 320, now)) ADD_FAILURE();
  }
  EXPECT_EQ(reports, (std::vector<uint32_t>{0, 26, 51}));
  const StatisticsText text = statistics.Text("H265", "ALAW", 1920, 1080);
  EXPECT_STREQ(text.szLine[0],
               "\xCA\xD3\xC6\xB5 \xB1\xE0\xC2\xEB:H265 \xD6\xA1\xBF\xED:1920 \xD6\xA1\xB8\xDF:1080");
  EXPECT_STREQ(
      text.szLine[1],
      "     \xB9\xD8\xBC\xFC\xD6\xA1\xBC\xE4\xB8\xF4:50 \xD6\xA1\xC2\xCA:25 \xC2\xEB\xC2\xCA:1953Kbps");
  EXPECT_STREQ(text.szLine[2], "\xD2\xF4\xC6\xB5 \xB1\xE0\xC2\xEB:ALAW \xC2\xEB\xC2\xCA:62Kbps");
  // The last one counts as of now - 1040: it is followed by one that keeps the rhythm, and by a gap.
  for (const auto& [after, due] :
       {std::pair{960u, true}, {961u, true}, {2962u, true}, {3962u, false}, {3963u, true}})
    EXPECT_EQ(statistics.Count(true, false, 1, now + after), due) << after;
}
