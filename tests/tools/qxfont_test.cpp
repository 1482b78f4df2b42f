// The glyph file that the build makes from Debian's font, and fonts that are damaged.
#include <gtest/gtest.h>
#include <zlib.h>

#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>

#include "tests/support/TempDir.h"
#include "tools/qxfont/PcfFont.h"

namespace {

TEST(QxFont, TheGlyphsStandInTheOrderOfTheirCodes) {
  const PcfFont font(QX_FONT);
  EXPECT_EQ(font.Property("CHARSET_REGISTRY"), "GB2312.1980");
  std::ifstream glyphs(QX_GLYPHS, std::ios::binary);
  const std::string file(std::istreambuf_iterator<char>(glyphs), {});
  ASSERT_EQ(file.size(), 94u * 94 * 32);
  for (uint8_t row = 0; row < 94; ++row) {
    for (uint8_t column = 0; column < 94; ++column) {
      PcfFont::Glyph glyph;
      glyph.fill(0xFF);
      if (font.HasGlyph(row + 0x21, column + 0x21)) glyph = font.GetGlyph(row + 0x21, column + 0x21);
      ASSERT_EQ(file.compare((row * 94u + column) * 32, 32, reinterpret_cast<const char*>(glyph.data()), 32),
                0);
    }
  }
  // A blank, the bar of U+4E00 ("one"), the box of U+53E3 ("mouth").
  EXPECT_EQ(font.GetGlyph(0x21, 0x21), PcfFont::Glyph{});
  const PcfFont::Glyph one = font.GetGlyph(0x52, 0x3B), mouth = font.GetGlyph(0x3F, 0x5A);
  EXPECT_EQ(one[14] << 8 | one[15], 0xFFFE);
  EXPECT_EQ(mouth[10] << 8 | mouth[11], 0x2008);
}

TEST(QxFont, DamagedFontsAreRefusedOrStillRead) {
  const TempDir dir;
  std::string plain(4 << 20, '\0');
  const gzFile file = gzopen(QX_FONT, "rb");
  plain.resize(static_cast<size_t>(gzread(file, plain.data(), static_cast<unsigned>(plain.size()))));
  gzclose(file);
  const auto open = [&](const std::string& bytes) {
    std::ofstream(dir / "font", std::ios::binary) << bytes;
    const PcfFont font(dir / "font");
    (void)font.Property("CHARSET_REGISTRY");
    for (uint8_t row = 0x21; row < 0x7F; ++row)
      if (font.HasGlyph(row, row)) (void)font.GetGlyph(row, row);
  };
  EXPECT_THROW(PcfFont(dir / "none"), std::runtime_error);
  EXPECT_THROW(open("\1fcp"), std::runtime_error);
  EXPECT_THROW(open(plain.substr(0, plain.size() / 2)), std::runtime_error);
  std::minstd_rand random;
  int refused = 0;
  for (int round = 0; round < 200; ++round) {
    std::string bad = plain;
    const unsigned reach = round % 2 == 0 ? 64 : 4096;
    for (size_t at = random() % (5 * reach); at < 200'000; at += random() % reach)
      bad[at] = static_cast<char>(random());
    try {
      open(bad);
    } catch (const std::runtime_error&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 100);
}

}  // namespace
