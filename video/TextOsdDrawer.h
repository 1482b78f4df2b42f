// Draws a text of the overlay into planar pictures.
#pragma once

#include <cstdint>
#include <string>

#include "src/kitc/ThrowingAllocator.h"
#include "video/GlyphFont.h"
#include "video/Osd.h"
#include "video/OsdDrawer.h"

class TextOsdDrawer final : public IOsdDrawer {
 public:
  // Copies the item's text. `font` must outlive the drawer. Throws std::bad_alloc.
  explicit TextOsdDrawer(const OsdItem& item, GlyphFont& font = HostGlyphFont());

  bool IsImage() const override { return false; }
  // Leaves out every character that does not lie wholly inside. Allocates nothing but for the font, once.
  void DrawYV12(uint8_t* const planes[3], const uint32_t strides[3], uint32_t width,
                uint32_t height) override;
  void DrawRGB32(uint8_t*, uint32_t, uint32_t, uint32_t) override {}
  void DrawYUY2(uint8_t*, uint32_t, uint32_t, uint32_t) override {}

 private:
  template <typename Draw>
  void ForEachGlyph(int64_t x, uint32_t scale, uint32_t width, const Draw& draw) const;

  GlyphFont& m_Font;
  std::basic_string<char, std::char_traits<char>, ThrowingAllocator<char>> m_strText;
  int32_t m_nAnchor;
  int32_t m_nX;  // unscaled pixels
  int32_t m_nY;
  uint8_t m_abColour[4];  // red, green, blue, alpha
};
