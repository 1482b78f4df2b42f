// Makes the glyph file of the text overlay from a 16 x 16 bitmap font of X11 that holds GB2312:
//   qxfont FONT.pcf[.gz] QXSHZ16.dll
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/qxfont/PcfFont.h"

namespace {

// 94 rows of 94 characters; codes in the font run from 0x2121, in texts from 0xA1A1.
constexpr uint32_t kRows = 94;
constexpr uint32_t kFirst = 0x21;

struct GlyphFile {
  std::vector<uint8_t> bytes;
  uint32_t nGlyphs = 0;
};

// Codes without a character become solid blocks, as the overlay draws what it does not know.
GlyphFile MakeGlyphFile(const PcfFont& font) {
  GlyphFile file;
  for (uint32_t row = kFirst; row < kFirst + kRows; ++row) {
    for (uint32_t column = kFirst; column < kFirst + kRows; ++column) {
      const auto high = static_cast<uint8_t>(row);
      const auto low = static_cast<uint8_t>(column);
      PcfFont::Glyph glyph;
      glyph.fill(0xFF);
      if (font.HasGlyph(high, low)) {
        glyph = font.GetGlyph(high, low);
        ++file.nGlyphs;
      }
      file.bytes.insert(file.bytes.end(), glyph.begin(), glyph.end());
    }
  }
  return file;
}

bool Write(const std::vector<uint8_t>& bytes, const char* path) {
  std::FILE* const file = std::fopen(path, "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  const bool closed = std::fclose(file) == 0;
  if (written && closed) return true;
  const int reason = errno;
  std::error_code ignored;
  // Half a font would pass for a whole one. A device stays.
  if (std::filesystem::is_regular_file(path, ignored)) std::filesystem::remove(path, ignored);
  errno = reason;
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: qxfont FONT.pcf[.gz] QXSHZ16.dll\n", stderr);
    return 2;
  }
  GlyphFile file;
  std::string copyright;
  try {
    const PcfFont font(argv[1]);
    const std::string charset = font.Property("CHARSET_REGISTRY");
    if (charset.rfind("GB2312", 0) != 0) {
      std::fprintf(stderr, "qxfont: %s holds the characters of \"%s\", not of GB2312\n", argv[1],
                   charset.c_str());
      return 1;
    }
    file = MakeGlyphFile(font);
    copyright = font.Property("COPYRIGHT");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qxfont: %s %s\n", argv[1], error.what());
    return 1;
  }
  if (!Write(file.bytes, argv[2])) {
    std::fprintf(stderr, "qxfont: cannot write %s: %s\n", argv[2], std::strerror(errno));
    return 1;
  }
  std::printf("%s: %u glyphs. %s\n", argv[2], static_cast<unsigned>(file.nGlyphs), copyright.c_str());
  return 0;
}
