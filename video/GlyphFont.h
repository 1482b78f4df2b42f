// The shapes of characters: ASCII built in, two-byte GB2312 characters from a file of 16 x 16 glyphs.
#pragma once

#include <cstdint>

#include "src/kitc/HeapBytes.h"
#include "src/kitc/OneTime.h"
#include "src/kitc/ThrowingAllocator.h"
#include "video/AsciiFont.h"

// One character's shape. The rows are the font's and live as long as it.
struct Glyph {
  uint32_t nWidth = 0;      // 8 or 16 pixels; kGlyphHeight high
  uint32_t nTextBytes = 0;  // of the character in the text
  const uint8_t* pRows = nullptr;

  // A row's pixels, the leftmost in bit 15.
  uint32_t Row(uint32_t row) const {
    return nWidth == 8 ? uint32_t{pRows[row]} << 8 : uint32_t{pRows[2 * row]} << 8 | pRows[2 * row + 1];
  }
};

// A file of 94 x 94 glyphs in the order of GB2312, 32 bytes each: 16 rows of two bytes, most significant bit
// leftmost. Any thread. An object in static storage stays until the library is unloaded.
class GlyphFont {
 public:
  // `path` answers where the file is; it is asked once and may throw std::bad_alloc.
  constexpr explicit GlyphFont(String (*path)()) : m_pfnPath(path) {}

  // Reads the file when called first; later calls, also from other threads at that moment, find it read. A
  // file that is missing or too short has fewer glyphs.
  void Load();
  // The character at the beginning of `text`, which is not empty. After Load().
  Glyph GetGlyph(const char* text) const;

 private:
  void ReadFile();
  const uint8_t* FindInFile(uint32_t first, uint32_t second) const;

  String (*const m_pfnPath)();
  OneTime m_Loaded;
  HeapBytes m_pGlyphs;
  uint32_t m_nBytes = 0;
};

// The one beside the host program, QXSHZ16.dll (no library: it is read as data).
GlyphFont& HostGlyphFont();
