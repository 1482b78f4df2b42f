#include "video/GlyphFont.h"

#include <cstdio>
#include <new>

#include "platform/Kernel.h"
#include "src/kitc/Directory.h"

namespace {

constexpr uint32_t kGlyphBytes = 32;
constexpr uint32_t kFirstCode = 0xA1;  // of either byte
constexpr uint32_t kCodesPerRow = 94;
// What two bytes can address at most; a file that is longer is read no further.
constexpr uint32_t kMaxGlyphs = (0xFF - kFirstCode) * kCodesPerRow + (0xFF - kFirstCode) + 1;
constexpr uint32_t kMaxFileBytes = kMaxGlyphs * kGlyphBytes;

// A solid block, for characters without a glyph.
constexpr uint8_t kDefaultGlyph[kGlyphBytes] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Not made by whoever draws first: it would be destroyed before the play threads end.
constinit GlyphFont g_HostFont([] { return kitc_executable_directory() + "\\QXSHZ16.dll"; });

}  // namespace

GlyphFont& HostGlyphFont() {
  return g_HostFont;
}

void GlyphFont::Load() {
  m_Loaded.Run([this] {
    try {
      ReadFile();
    } catch (const std::bad_alloc&) {
      // As without a file.
    }
  });
}

void GlyphFont::ReadFile() {
  const std::unique_ptr<std::FILE, FileCloser> file(PlatformOpenFile(m_pfnPath().c_str(), "rb"));
  if (file == nullptr) return;
  m_pGlyphs = AllocateHeapBytes(kMaxFileBytes);
  if (m_pGlyphs != nullptr) {
    m_nBytes = static_cast<uint32_t>(std::fread(m_pGlyphs.get(), 1, kMaxFileBytes, file.get()));
  }
}

Glyph GlyphFont::GetGlyph(const char* text) const {
  const auto first = static_cast<uint8_t>(text[0]);
  if (first < 0x80) {
    const bool drawn = first >= kFirstAsciiGlyph && first <= kLastAsciiGlyph;
    return {8, 1, drawn ? kAsciiGlyphs[first - kFirstAsciiGlyph].data() : kDefaultGlyph};
  }
  const auto second = static_cast<uint8_t>(text[1]);
  if (second == 0) return {16, 1, kDefaultGlyph};  // the text ends within the character
  const uint8_t* const glyph = FindInFile(first, second);
  return {16, 2, glyph != nullptr ? glyph : kDefaultGlyph};
}

// Codes below the first of their row wrap to offsets far beyond any file.
const uint8_t* GlyphFont::FindInFile(uint32_t first, uint32_t second) const {
  const uint32_t offset = ((first - kFirstCode) * kCodesPerRow + (second - kFirstCode)) * kGlyphBytes;
  const bool inFile = m_nBytes >= kGlyphBytes && offset <= m_nBytes - kGlyphBytes;
  return inFile ? m_pGlyphs.get() + offset : nullptr;
}
