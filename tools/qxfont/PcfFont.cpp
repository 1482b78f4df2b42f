#include "tools/qxfont/PcfFont.h"

#include <zlib.h>

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace {

constexpr size_t kMaxFileBytes = 64 << 20;
constexpr unsigned kPieceBytes = 1 << 20;
constexpr int32_t kCell = 16;  // pixels

// Table types and bits of their format words, as in X.Org's libXfont (bitmap/pcf.h).
enum : uint32_t {
  kPropertiesTable = 1,
  kAcceleratorsTable = 2,
  kMetricsTable = 4,
  kBitmapsTable = 8,
  kEncodingsTable = 32,
};
constexpr uint32_t kCompressedMetrics = 0x100;
constexpr uint32_t kGlyphPadMask = 3;  // rows are padded to 1 << it bytes
constexpr uint32_t kMsbFirstBytes = 4;
constexpr uint32_t kMsbFirstBits = 8;
constexpr uint32_t kNoGlyph = 0xFFFF;

std::vector<uint8_t> ReadWhole(const std::string& path) {
  const std::unique_ptr<gzFile_s, int (*)(gzFile)> file(gzopen(path.c_str(), "rb"), gzclose);
  if (file == nullptr) throw std::runtime_error("cannot be opened");
  std::vector<uint8_t> bytes;
  int count = 0;
  do {
    const size_t have = bytes.size();
    if (have >= kMaxFileBytes) throw std::runtime_error("is too large for a font");
    bytes.resize(have + kPieceBytes);
    count = gzread(file.get(), bytes.data() + have, kPieceBytes);
    bytes.resize(have + static_cast<size_t>(std::max(count, 0)));
  } while (count > 0);
  int code = Z_OK;
  const char* const message = gzerror(file.get(), &code);
  if (count < 0 || code != Z_OK) throw std::runtime_error(std::string("cannot be read: ") + message);
  return bytes;
}

[[noreturn]] void Damaged() {
  throw std::runtime_error("is damaged or cut short");
}

}  // namespace

uint32_t PcfFont::Table::Read(size_t offset, size_t size) const {
  if (offset > bytes.size() || size > bytes.size() - offset) Damaged();
  uint32_t value = 0;
  for (size_t i = 0; i < size; ++i)
    value = value << 8 | bytes[offset + ((nFormat & kMsbFirstBytes) != 0 ? i : size - 1 - i)];
  return value;
}

PcfFont::PcfFont(const std::string& path) : m_File(ReadWhole(path)) {
  const Table file = {m_File, 0};
  if (m_File.size() < 8 || file.Read32(0) != 0x70636601) throw std::runtime_error("is no PCF font");
  m_Properties = FindTable(kPropertiesTable);
  m_Metrics = FindTable(kMetricsTable);
  m_Bitmaps = FindTable(kBitmapsTable);
  m_Encodings = FindTable(kEncodingsTable);
  m_nAscent = static_cast<int32_t>(FindTable(kAcceleratorsTable).Read32(12));
}

PcfFont::Table PcfFont::FindTable(uint32_t type) const {
  const Table file = {m_File, 0};
  const uint32_t count = file.Read32(4);
  for (size_t i = 0; i < count; ++i) {
    const size_t entry = 8 + 16 * i;
    if (file.Read32(entry) != type) continue;
    const size_t size = file.Read32(entry + 8);
    const size_t offset = file.Read32(entry + 12);
    if (offset > m_File.size() || size > m_File.size() - offset || size < 4) Damaged();
    // Every table begins with its format word once more, always little-endian.
    return {std::span(m_File).subspan(offset, size), file.Read32(offset)};
  }
  throw std::runtime_error("lacks one of the tables that make a font");
}

std::string PcfFont::Property(const std::string& name) const {
  const size_t count = m_Properties.Read32(4);
  const size_t strings = (8 + 9 * count + 3) / 4 * 4;  // their size, then the strings
  const auto text = [&](size_t offset) {
    std::string value;
    for (size_t at = strings + 4 + offset; const uint32_t letter = m_Properties.Read(at, 1); ++at)
      value += static_cast<char>(letter);
    return value;
  };
  for (size_t i = 0; i < count; ++i) {
    const size_t entry = 8 + 9 * i;
    const bool isText = m_Properties.Read(entry + 4, 1) != 0;
    if (isText && text(m_Properties.Read32(entry)) == name) return text(m_Properties.Read32(entry + 5));
  }
  return {};
}

int32_t PcfFont::IndexOf(uint8_t row, uint8_t column) const {
  const int32_t firstColumn = m_Encodings.Read16(4);
  const int32_t lastColumn = m_Encodings.Read16(6);
  const int32_t firstRow = m_Encodings.Read16(8);
  const int32_t lastRow = m_Encodings.Read16(10);
  if (firstColumn < 0 || firstRow < 0 || lastColumn > 0xFF || lastRow > 0xFF) Damaged();
  if (column < firstColumn || column > lastColumn || row < firstRow || row > lastRow) return -1;
  const int32_t place = (row - firstRow) * (lastColumn - firstColumn + 1) + column - firstColumn;
  const uint32_t index = m_Encodings.Read(14 + 2 * static_cast<size_t>(place), 2);
  return index != kNoGlyph ? static_cast<int32_t>(index) : -1;
}

bool PcfFont::HasGlyph(uint8_t row, uint8_t column) const {
  return IndexOf(row, column) >= 0;
}

PcfFont::Metrics PcfFont::MetricsOf(uint32_t glyph) const {
  if ((m_Metrics.nFormat & kCompressedMetrics) != 0) {
    const size_t entry = 6 + 5 * size_t{glyph};  // bytes, biased by 128: left, right, width, ascent, descent
    const auto biased = [&](size_t at) { return static_cast<int32_t>(m_Metrics.Read(entry + at, 1)) - 128; };
    return {biased(0), biased(1), biased(3), biased(4)};
  }
  const size_t entry = 8 + 12 * size_t{glyph};
  return {m_Metrics.Read16(entry), m_Metrics.Read16(entry + 2), m_Metrics.Read16(entry + 6),
          m_Metrics.Read16(entry + 8)};
}

PcfFont::Glyph PcfFont::GetGlyph(uint8_t row, uint8_t column) const {
  const int32_t index = IndexOf(row, column);
  if (index < 0) throw std::runtime_error("has no glyph for the code");
  const Metrics metrics = MetricsOf(static_cast<uint32_t>(index));
  const int32_t width = metrics.nRight - metrics.nLeft;
  const int32_t height = metrics.nAscent + metrics.nDescent;
  const int32_t top = m_nAscent - metrics.nAscent;
  if (metrics.nLeft < 0 || metrics.nRight > kCell || width < 0 || height < 0 || top < 0 ||
      top + height > kCell)
    throw std::runtime_error("has a glyph that does not fit 16 x 16 pixels");

  const uint32_t format = m_Bitmaps.nFormat;
  // Bits within a byte and bytes within a scan unit the same way round: then units need no swapping.
  if (((format & kMsbFirstBytes) != 0) != ((format & kMsbFirstBits) != 0) && (format >> 4 & 3) != 0)
    throw std::runtime_error("stores its pixels in an order that is not supported");
  const size_t count = m_Bitmaps.Read32(4);
  const size_t pad = size_t{1} << (format & kGlyphPadMask);
  const size_t stride = (static_cast<size_t>(width) + 8 * pad - 1) / (8 * pad) * pad;
  // Behind the offsets stand the four sizes that the data would have at each padding.
  const size_t data = 8 + 4 * count + 16 + m_Bitmaps.Read32(8 + 4 * static_cast<size_t>(index));
  Glyph glyph{};
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      const uint32_t byte =
          m_Bitmaps.Read(data + static_cast<size_t>(y) * stride + static_cast<size_t>(x / 8), 1);
      const bool set = (byte >> ((format & kMsbFirstBits) != 0 ? 7 - x % 8 : x % 8) & 1) != 0;
      const int32_t column16 = metrics.nLeft + x;
      if (set)
        glyph[static_cast<size_t>(2 * (top + y) + column16 / 8)] |=
            static_cast<uint8_t>(0x80 >> column16 % 8);
    }
  }
  return glyph;
}
