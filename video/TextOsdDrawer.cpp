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

// Pens mix the text's colour into a sample. `set` of the four pixels that share a chroma sample are the
// text's.
struct OpaquePen {
  uint8_t Luma(uint32_t /*old*/, uint32_t colour) const { return static_cast<uint8_t>(colour); }
  uint8_t Chroma(uint32_t old, uint32_t colour, uint32_t set) const {
    return static_cast<uint8_t>((old * (4 - set) + set * colour) >> 2);
  }
};

struct BlendingPen {
  uint8_t Luma(uint32_t old, uint32_t colour) const {
    return static_cast<uint8_t>(((255 - nAlpha) * old + nAlpha * colour) >> 8);
  }
  uint8_t Chroma(uint32_t old, uint32_t colour, uint32_t set) const {
    const uint32_t alpha = (set * nAlpha) >> 2;
    return static_cast<uint8_t>(((255 - alpha) * old + alpha * colour) >> 8);
  }
  uint32_t nAlpha;  // 1 to 254
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
void DrawUnscaled(const Glyph& glyph, Place place, const Pen pen, const YCbCr colour) {
  for (uint32_t row = 0; row < kGlyphHeight; row += 2, place.NextBlockRow()) {
    const uint32_t upper = glyph.Row(row);
    const uint32_t lower = glyph.Row(row + 1);
    uint8_t* const below = place.pY + place.nStride[0];
    for (uint32_t left = upper | lower; left != 0;) {
      const uint32_t x = static_cast<uint32_t>(std::countl_zero(left << 16)) & ~1u;
      const uint32_t above = upper >> (14 - x) & 3;
      const uint32_t under = lower >> (14 - x) & 3;
      if ((above & 2) != 0) place.pY[x] = pen.Luma(place.pY[x], colour.nY);
      if ((above & 1) != 0) place.pY[x + 1] = pen.Luma(place.pY[x + 1], colour.nY);
      if ((under & 2) != 0) below[x] = pen.Luma(below[x], colour.nY);
      if ((under & 1) != 0) below[x + 1] = pen.Luma(below[x + 1], colour.nY);
      const auto set = static_cast<uint32_t>(std::popcount(above << 2 | under));
      place.pCb[x / 2] = pen.Chroma(place.pCb[x / 2], colour.nCb, set);
      place.pCr[x / 2] = pen.Chroma(place.pCr[x / 2], colour.nCr, set);
      left &= (1u << (14 - x)) - 1;
    }
  }
}

// `count` whole blocks of 2 x 2 pixels, side by side.
template <typename Pen>
void FillBlocks(uint8_t* luma, size_t lumaStride, uint8_t* cb, uint8_t* cr, uint32_t count, const Pen pen,
                const YCbCr colour) {
  uint8_t* const below = luma + lumaStride;
  for (uint32_t i = 0; i < count; ++i) {
    luma[2 * i] = pen.Luma(luma[2 * i], colour.nY);
    luma[2 * i + 1] = pen.Luma(luma[2 * i + 1], colour.nY);
    below[2 * i] = pen.Luma(below[2 * i], colour.nY);
    below[2 * i + 1] = pen.Luma(below[2 * i + 1], colour.nY);
    cb[i] = pen.Chroma(cb[i], colour.nCb, 4);
    cr[i] = pen.Chroma(cr[i], colour.nCr, 4);
  }
}

// At an even scale every glyph pixel is whole blocks: kBlocks times kBlocks.
template <uint32_t kBlocks, typename Pen>
void DrawScaled(const Glyph& glyph, Place place, const Pen pen, const YCbCr colour) {
  for (uint32_t row = 0; row < kGlyphHeight; ++row) {
    const uint32_t pixels = glyph.Row(row) << 16;
    for (uint32_t line = 0; line < kBlocks; ++line, place.NextBlockRow()) {
      for (uint32_t left = pixels; left != 0;) {
        const auto x = static_cast<uint32_t>(std::countl_zero(left));
        const auto run = static_cast<uint32_t>(std::countl_one(left << x));
        const uint32_t block = x * kBlocks;
        FillBlocks(place.pY + 2 * block, place.nStride[0], place.pCb + block, place.pCr + block,
                   run * kBlocks, pen, colour);
        left &= 0xFFFFFFFFu >> (x + run);
      }
    }
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

void TextOsdDrawer::DrawYV12(uint8_t* const planes[3], const uint32_t strides[3], uint32_t width,
                             uint32_t height) {
  if (planes[0] == nullptr || planes[1] == nullptr || planes[2] == nullptr) return;
  m_Font.Load();
  const uint32_t alpha = m_abColour[3];
  if (alpha == 0 || alpha == 255) {
    DrawText(OpaquePen(), planes, strides, width, height);
  } else {
    DrawText(BlendingPen{alpha}, planes, strides, width, height);
  }
}

// Coordinates are the host's: they stay in 64 bits until they are known to lie in the picture.
template <typename Pen>
void TextOsdDrawer::DrawText(const Pen& pen, uint8_t* const planes[3], const uint32_t strides[3],
                             uint32_t width, uint32_t height) const {
  const bool fromRight = m_nAnchor == kAnchorTopRight || m_nAnchor == kAnchorBottomRight;
  const bool fromBottom = m_nAnchor == kAnchorBottomRight || m_nAnchor == kAnchorBottomLeft;
  const uint32_t scale = ScaleFor(width);
  int64_t x = (m_nX - (fromRight ? kAnchorPixels * static_cast<int64_t>(m_strText.size()) : 0)) * scale;
  const int64_t y = (m_nY - (fromBottom ? kAnchorPixels : 0)) * scale;
  if (y < 0 || y + int64_t{kGlyphHeight} * scale >= height) return;

  const YCbCr colour(m_abColour);
  const char* const end = m_strText.c_str() + m_strText.size();
  for (const char* text = m_strText.c_str(); text != end && x < width;) {
    const Glyph glyph = m_Font.GetGlyph(text);
    const int64_t next = x + int64_t{glyph.nWidth} * scale;
    if (x >= 0 && next < width) {
      const Place place(planes, strides, static_cast<size_t>(x), static_cast<size_t>(y));
      switch (scale) {
        case 1:
          DrawUnscaled(glyph, place, pen, colour);
          break;
        case 2:
          DrawScaled<1>(glyph, place, pen, colour);
          break;
        default:
          DrawScaled<2>(glyph, place, pen, colour);
          break;
      }
    }
    x = next;
    text += glyph.nTextBytes;
  }
}
