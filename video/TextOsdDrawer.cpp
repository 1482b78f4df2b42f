#include "video/TextOsdDrawer.h"

#include <bit>
#include <cstring>

namespace {

constexpr int64_t kAnchorPixels = 16;  // per byte of text, and up

// Texts keep their size on the screen about: unscaled up to this width.
uint32_t ScaleFor(uint32_t width) {
  return width < 1280 ? 1 : width <= 1920 ? 2 : 4;
}

// ITU-R BT.601 in integers; results are taken modulo 256.
struct YCbCr {
  explicit YCbCr(const uint8_t (&rgb)[4]) {
    const int32_t red = rgb[0];
    const int32_t green = rgb[1];
    const int32_t blue = rgb[2];
    nY = static_cast<uint8_t>(((66 * red + 129 * green + 25 * blue + 128) >> 8) + 16);
    nCb = static_cast<uint8_t>(((-38 * red - 74 * green + 112 * blue + 128) >> 8) + 128);
    nCr = static_cast<uint8_t>(((112 * red - 94 * green - 18 * blue + 128) >> 8) + 128);
  }
  uint8_t nY, nCb, nCr;
};

// Pens mix the text's colour into samples. A chroma sample is shared by four pixels, of which `set` are the
// text's. They are handed on by value: stores into the picture could change what is behind a reference.
class OpaquePen {
 public:
  explicit OpaquePen(const YCbCr& colour) : m_Colour(colour) {}

  uint8_t Luma(uint8_t /*old*/) const { return m_Colour.nY; }
  uint8_t Cb(uint8_t /*old*/) const { return m_Colour.nCb; }
  uint8_t Cr(uint8_t /*old*/) const { return m_Colour.nCr; }
  uint8_t Cb(uint8_t old, uint32_t set) const { return Mix(old, m_Colour.nCb, set); }
  uint8_t Cr(uint8_t old, uint32_t set) const { return Mix(old, m_Colour.nCr, set); }

 private:
  static uint8_t Mix(uint32_t old, uint32_t colour, uint32_t set) {
    return static_cast<uint8_t>((old * (4 - set) + set * colour) >> 2);
  }

  YCbCr m_Colour;
};

uint8_t Blend(uint32_t old, uint32_t colour, uint32_t alpha) {
  return static_cast<uint8_t>(((255 - alpha) * old + alpha * colour) >> 8);
}

// What becomes of each value in a block that is the text's as a whole: at scales above 1, all of them are.
struct BlendTables {
  BlendTables(const YCbCr& colour, uint32_t alpha) {
    for (uint32_t old = 0; old < 256; ++old) {
      abLuma[old] = Blend(old, colour.nY, alpha);
      abCb[old] = Blend(old, colour.nCb, alpha);
      abCr[old] = Blend(old, colour.nCr, alpha);
    }
  }
  uint8_t abLuma[256];
  uint8_t abCb[256];
  uint8_t abCr[256];
};

class BlendingPen {
 public:
  // alpha: 1 to 254, also the tables'.
  BlendingPen(const YCbCr& colour, uint32_t alpha, const BlendTables& tables)
      : m_Colour(colour), m_nAlpha(alpha), m_Tables(tables) {}

  uint8_t Luma(uint8_t old) const { return m_Tables.abLuma[old]; }
  uint8_t Cb(uint8_t old) const { return m_Tables.abCb[old]; }
  uint8_t Cr(uint8_t old) const { return m_Tables.abCr[old]; }
  uint8_t Cb(uint8_t old, uint32_t set) const { return Blend(old, m_Colour.nCb, (set * m_nAlpha) >> 2); }
  uint8_t Cr(uint8_t old, uint32_t set) const { return Blend(old, m_Colour.nCr, (set * m_nAlpha) >> 2); }

 private:
  YCbCr m_Colour;
  uint32_t m_nAlpha;
  const BlendTables& m_Tables;
};

// A place in a picture.
struct Place {
  Place(uint8_t* const planes[3], const uint32_t strides[3], size_t x, size_t y)
      : pY(planes[0] + y * strides[0] + x),
        pCb(planes[1] + y / 2 * strides[1] + x / 2),
        pCr(planes[2] + y / 2 * strides[2] + x / 2),
        nStride{strides[0], strides[1], strides[2]} {}

  // Two rows further down.
  void NextBlockRow() {
    pY += 2 * nStride[0];
    pCb += nStride[1];
    pCr += nStride[2];
  }

  uint8_t* pY;
  uint8_t* pCb;
  uint8_t* pCr;
  size_t nStride[3];
};

// A glyph pixel is a luma sample: blocks of 2 x 2 pixels are set in part.
template <typename Pen>
void DrawUnscaled(const Glyph glyph, Place place, const Pen pen) {
  const auto luma = [pen](uint8_t* pixel, uint32_t set) {
    if (set != 0) *pixel = pen.Luma(*pixel);
  };
  for (uint32_t row = 0; row < kGlyphHeight; row += 2, place.NextBlockRow()) {
    const uint32_t upper = glyph.Row(row);
    const uint32_t lower = glyph.Row(row + 1);
    for (uint32_t x = 0; x < glyph.nWidth; x += 2) {
      const uint32_t above = upper >> (14 - x) & 3;
      const uint32_t under = lower >> (14 - x) & 3;
      if ((above | under) == 0) continue;
      uint8_t* const pixels = place.pY + x;
      luma(pixels, above & 2);
      luma(pixels + 1, above & 1);
      luma(pixels + place.nStride[0], under & 2);
      luma(pixels + place.nStride[0] + 1, under & 1);
      const auto set = static_cast<uint32_t>(std::popcount(above << 2 | under));
      place.pCb[x / 2] = pen.Cb(place.pCb[x / 2], set);
      place.pCr[x / 2] = pen.Cr(place.pCr[x / 2], set);
    }
  }
}

// `count` whole blocks of 2 x 2 pixels, side by side.
template <typename Pen>
void FillBlocks(const Place place, uint32_t first, uint32_t count, const Pen pen) {
  uint8_t* upper = place.pY + 2 * first;
  uint8_t* lower = upper + place.nStride[0];
  uint8_t* cb = place.pCb + first;
  uint8_t* cr = place.pCr + first;
  for (uint32_t i = 0; i < count; ++i, upper += 2, lower += 2, ++cb, ++cr) {
    upper[0] = pen.Luma(upper[0]);
    upper[1] = pen.Luma(upper[1]);
    lower[0] = pen.Luma(lower[0]);
    lower[1] = pen.Luma(lower[1]);
    *cb = pen.Cb(*cb);
    *cr = pen.Cr(*cr);
  }
}

// At an even scale every glyph pixel is whole blocks: kBlocks times kBlocks.
template <uint32_t kBlocks, typename Pen>
void DrawScaled(const Glyph glyph, Place place, const Pen pen) {
  for (uint32_t row = 0; row < kGlyphHeight; ++row) {
    const uint32_t pixels = glyph.Row(row) << 16;
    for (uint32_t line = 0; line < kBlocks; ++line, place.NextBlockRow()) {
      for (uint32_t left = pixels; left != 0;) {
        const auto x = static_cast<uint32_t>(std::countl_zero(left));
        const auto run = static_cast<uint32_t>(std::countl_one(left << x));
        FillBlocks(place, x * kBlocks, run * kBlocks, pen);
        left &= 0xFFFFFFFFu >> (x + run);
      }
    }
  }
}

template <typename Pen>
void DrawGlyph(const Glyph& glyph, const Place& place, uint32_t scale, const Pen pen) {
  switch (scale) {
    case 1:
      return DrawUnscaled(glyph, place, pen);
    case 2:
      return DrawScaled<1>(glyph, place, pen);
    default:
      return DrawScaled<2>(glyph, place, pen);
  }
}

}  // namespace

TextOsdDrawer::TextOsdDrawer(const OsdItem& item, GlyphFont& font)
    : m_Font(font),
      m_strText(item.pszText != nullptr ? item.pszText : ""),
      m_nAnchor(item.nAnchor),
      m_nX(item.nX),
      m_nY(item.nY) {
  std::memcpy(m_abColour, item.abColour, sizeof m_abColour);
}

// Coordinates are the host's: they stay in 64 bits until they are known to lie in the picture.
void TextOsdDrawer::DrawYV12(uint8_t* const planes[3], const uint32_t strides[3], uint32_t width,
                             uint32_t height) {
  if (planes[0] == nullptr || planes[1] == nullptr || planes[2] == nullptr) return;
  m_Font.Load();
  const bool fromRight = m_nAnchor == kAnchorTopRight || m_nAnchor == kAnchorBottomRight;
  const bool fromBottom = m_nAnchor == kAnchorBottomRight || m_nAnchor == kAnchorBottomLeft;
  const uint32_t scale = ScaleFor(width);
  const int64_t x = (m_nX - (fromRight ? kAnchorPixels * static_cast<int64_t>(m_strText.size()) : 0)) * scale;
  const int64_t y = (m_nY - (fromBottom ? kAnchorPixels : 0)) * scale;
  if (x >= width || y < 0 || y + int64_t{kGlyphHeight} * scale >= height) return;

  const YCbCr colour(m_abColour);
  const uint32_t alpha = m_abColour[3];
  const auto drawWith = [&](const auto pen) {
    ForEachGlyph(x, scale, width, [&](const Glyph& glyph, size_t glyphX) {
      DrawGlyph(glyph, Place(planes, strides, glyphX, static_cast<size_t>(y)), scale, pen);
    });
  };
  if (alpha == 0 || alpha == 255) {
    drawWith(OpaquePen(colour));
  } else {
    drawWith(BlendingPen(colour, alpha, BlendTables(colour, alpha)));
  }
}

// Calls draw(glyph, x) for those that lie wholly between 0 and `width`.
template <typename Draw>
void TextOsdDrawer::ForEachGlyph(int64_t x, uint32_t scale, uint32_t width, const Draw& draw) const {
  const char* const end = m_strText.c_str() + m_strText.size();
  for (const char* text = m_strText.c_str(); text != end && x < width;) {
    const Glyph glyph = m_Font.GetGlyph(text);
    const int64_t next = x + int64_t{glyph.nWidth} * scale;
    if (x >= 0 && next < width) draw(glyph, static_cast<size_t>(x));
    x = next;
    text += glyph.nTextBytes;
  }
}
