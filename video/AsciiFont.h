// The built-in 8 x 16 font.
#pragma once

#include <array>
#include <cstdint>

constexpr uint32_t kFirstAsciiGlyph = 32;  // space
constexpr uint32_t kLastAsciiGlyph = 126;  // ~
constexpr uint32_t kGlyphHeight = 16;      // pixels, of every glyph

// One byte a row, most significant bit leftmost.
using AsciiGlyph = std::array<uint8_t, kGlyphHeight>;
extern const std::array<AsciiGlyph, kLastAsciiGlyph - kFirstAsciiGlyph + 1> kAsciiGlyphs;
