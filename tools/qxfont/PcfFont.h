// Reads X11's compiled bitmap fonts (PCF), plain or gzipped.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

class PcfFont {
 public:
  // 16 rows of two bytes, most significant bit leftmost.
  using Glyph = std::array<uint8_t, 32>;

  // Throws std::runtime_error, with what is wrong, when the file cannot be read or is no whole PCF font.
  explicit PcfFont(const std::string& path);

  // A named property of the font, empty when it has none of that name.
  std::string Property(const std::string& name) const;
  bool HasGlyph(uint8_t row, uint8_t column) const;
  // A two-byte code's glyph, placed in a cell of 16 x 16 pixels. Throws when it does not fit, or is damaged.
  Glyph GetGlyph(uint8_t row, uint8_t column) const;

 private:
  // A table of the file: its format word, and how its numbers are stored.
  struct Table {
    std::span<const uint8_t> bytes;
    uint32_t nFormat = 0;

    uint32_t Read(size_t offset, size_t size) const;
    int32_t Read16(size_t offset) const { return static_cast<int16_t>(Read(offset, 2)); }
    uint32_t Read32(size_t offset) const { return Read(offset, 4); }
  };
  // Where a glyph's pixels lie round its origin.
  struct Metrics {
    int32_t nLeft, nRight, nAscent, nDescent;
  };

  Table FindTable(uint32_t type) const;
  int32_t IndexOf(uint8_t row, uint8_t column) const;  // -1 without one
  Metrics MetricsOf(uint32_t glyph) const;

  std::vector<uint8_t> m_File;
  Table m_Properties, m_Metrics, m_Bitmaps, m_Encodings;
  int32_t m_nAscent = 0;  // of the font, pixels
};
