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

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Unzip(const char* path) {
  std::string bytes(4 << 20, '\0');
  const gzFile file = gzopen(path, "rb");
  bytes.resize(static_cast<size_t>(gzread(file, bytes.data(), static_cast<unsigned>(bytes.size()))));
  gzclose(file);
  return bytes;
}

}  // namespace

TEST(QxFont, TheGlyphsStandInTheOrderOfTheirCodes) {
  const PcfFont font(QX_FONT);
  EXPECT_EQ(font.Property("CHARSET_REGISTRY"), "GB2312.1980");
  const std::string file = ReadFile(QX_GLYPHS);
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

TEST(QxFont, DamagedFontsAreRefused) {
  TempDir dir;
  const std::string path = dir / "font.pcf";
  const std::string good = ReadFile(QX_FONT);
  for (const std::string& bad :
       {std::string(), std::string("\1fcp"), std::string(100, 'x'), good.substr(0, good.size() / 2)}) {
    std::ofstream(path, std::ios::binary) << bad;
    EXPECT_THROW(PcfFont{path}, std::runtime_error);
  }
  EXPECT_THROW(PcfFont(dir / "none"), std::runtime_error);
  const std::string plain = Unzip(QX_FONT);
  std::minstd_rand random;
  for (int round = 0; round < 200; ++round) {
    std::string bad = plain;
    for (size_t at = random() % (round % 2 == 0 ? 32 : 20'000); at < 200'000;
         at += random() % (round % 2 == 0 ? 64 : 4096))
      bad[at] = static_cast<char>(random());
    std::ofstream(path, std::ios::binary) << bad;
    try {
      const PcfFont font(path);
      (void)font.Property("CHARSET_REGISTRY");
      for (uint8_t row = 0x21; row < 0x7F; ++row)
        if (font.HasGlyph(row, row)) (void)font.GetGlyph(row, row);
    } catch (const std::runtime_error&) {
      // Refused; or it still reads as a font.
    }
  }
}
