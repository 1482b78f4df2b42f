#include "codecs/qmp4pkg/BoxCheck.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr uint32_t Code(std::string_view name) {
  return static_cast<uint32_t>(static_cast<uint8_t>(name[0])) << 24 |
         static_cast<uint32_t>(static_cast<uint8_t>(name[1])) << 16 |
         static_cast<uint32_t>(static_cast<uint8_t>(name[2])) << 8 | static_cast<uint8_t>(name[3]);
}

// Boxes that consist of boxes.
constexpr std::array kContainers = {Code("moov"), Code("trak"), Code("mdia"), Code("minf"),
                                    Code("stbl"), Code("edts"), Code("mvex"), Code("moof"),
                                    Code("traf"), Code("udta"), Code("dinf"), Code("sinf"),
                                    Code("schi"), Code("wave"), Code("tref"), Code("ilst")};
constexpr int kMaxDepth = 12;

// Tables with one entry of so many bytes for each that is counted.
struct Table {
  uint32_t nCode;
  uint32_t nEntryBytes;
};
constexpr std::array kTables = {Table{Code("stco"), 4}, Table{Code("co64"), 8},  Table{Code("stsc"), 12},
                                Table{Code("stts"), 8}, Table{Code("ctts"), 8},  Table{Code("stss"), 4},
                                Table{Code("stps"), 4}, Table{Code("elst"), 12}, Table{Code("keys"), 8}};
constexpr int64_t kMaxDescriptionBytes = 1 << 20;

// So many frames any file may claim: for a cut file that says more than it has.
constexpr int64_t kFramesAlways = 1 << 20;

template <typename List>
bool Contains(const List& list, uint32_t code) {
  return std::find(list.begin(), list.end(), code) != list.end();
}

class Checker {
 public:
  explicit Checker(const InputFile& file) : m_File(file) { m_Facts.nEnd = file.Size(); }

  std::optional<BoxFacts> Run() {
    const bool plausible = Walk(0, m_File.Size(), 0) && m_bMovie;
    return plausible ? std::optional(m_Facts) : std::nullopt;
  }

 private:
  // Bytes that are not there read as 0.
  uint64_t Number(int64_t position, int bytes) {
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i)
      value = value << 8 | Byte(position + i);
    return value;
  }
  uint32_t Word(int64_t position) { return static_cast<uint32_t>(Number(position, 4)); }
  uint8_t Byte(int64_t position) {
    if (position < m_nWindow || position - m_nWindow >= static_cast<int64_t>(m_nFilled)) {
      m_nWindow = position;
      m_nFilled = m_File.ReadSome(position, m_Window.data(), m_Window.size());
      if (m_nFilled == 0) return 0;
    }
    return m_Window[static_cast<size_t>(position - m_nWindow)];
  }

  bool Walk(int64_t at, int64_t end, int depth) {
    while (end - at >= 8) {
      const uint32_t code = Word(at + 4);
      int64_t head = 8;
      uint64_t size = Word(at);
      if (size == 1 && end - at >= 16) {
        head = 16;
        size = Number(at + 8, 8);
      }
      if (size == 0) size = static_cast<uint64_t>(end - at);
      if (size < static_cast<uint64_t>(head)) return true;  // libavformat ends the level here, too
      const bool whole = size <= static_cast<uint64_t>(end - at);
      if (!whole && depth == 0 && code != Code("mdat")) {
        m_Facts.nEnd = at;
        return true;
      }
      const int64_t boxEnd = whole ? at + static_cast<int64_t>(size) : end;
      if (!Check(code, at + head, boxEnd, depth)) return false;
      at = boxEnd;
    }
    return true;
  }

  // One box, its contents from `at` on.
  bool Check(uint32_t code, int64_t at, int64_t end, int depth) {
    if (code == Code("moov")) m_bMovie = true;
    if (code == Code("moof")) m_Facts.bFragmented = true;
    if (code == Code("cmov")) return false;  // a packed table of contents cannot be looked into
    if (code == Code("trak")) return CheckTrack(at, end, depth);
    if (Contains(kContainers, code)) return depth < kMaxDepth && Walk(at, end, depth + 1);
    for (const Table& table : kTables)
      if (code == table.nCode && Word(at + 4) > static_cast<uint64_t>(end - at) / table.nEntryBytes)
        return false;
    if (code == Code("stsd")) return CheckDescriptions(at, end);
    if (code == Code("meta")) return CheckMetaData(at, end, depth);
    if (code == Code("elst")) CountEdits(at);
    if (code == Code("tkhd")) m_nTrackId = Word(at + (Byte(at) == 1 ? 20 : 12));
    // Version and flags, one size for all or 0, count.
    if (code == Code("stsz")) return CountFrames(Word(at + 8), std::max<uint32_t>(Word(at + 4), 1));
    if (code == Code("stz2")) return CountFrames(Word(at + 8), 1);
    if (code == Code("trun")) return CountFrames(Word(at + 4), 1);
    return true;
  }

  bool CheckTrack(int64_t at, int64_t end, int depth) {
    m_nEdits = m_nTrackFrames = m_nTrackId = 0;
    if (depth >= kMaxDepth || !Walk(at, end, depth + 1)) return false;
    // For a track without a number libavformat tries all numbers.
    if (m_nTrackId == 0 || m_nTrackId > INT32_MAX) return false;
    // Each edit may play all frames once more.
    return m_nEdits <= 1 || m_nTrackFrames == 0 ||
           (m_nEdits - 1 <= Limit() / m_nTrackFrames && CountFrames((m_nEdits - 1) * m_nTrackFrames, 1));
  }

  // Sample entries hold boxes, too, at places that depend on their kind: none of these may be a table.
  bool CheckDescriptions(int64_t at, int64_t end) {
    constexpr std::array kVideoCodes = {Code("avc1"), Code("hvc1"), Code("hev1")};
    const uint32_t count = Word(at + 4);
    const uint32_t first = Word(at + 12);
    if (end - at > kMaxDescriptionBytes) return false;
    for (int64_t i = at; i < end - 4; ++i)
      if (IsTable(Word(i))) return false;
    int64_t entry = at + 8;
    for (uint32_t i = 0; i < count && end - entry >= 8; ++i) {
      // One track, two codecs: libavformat would hand out the frames of both as those of the first.
      if (Word(entry + 4) != first && Contains(kVideoCodes, first)) return false;
      if (i > 0) m_Facts.bSeveralDescriptions = true;
      const int64_t size = Word(entry);
      if (size < 8 || size > end - entry) return false;
      entry += size;
    }
    return true;
  }
  static bool IsTable(uint32_t code) {
    constexpr std::array kOthers = {Code("stsd"), Code("stsz"), Code("stz2"), Code("trun"), Code("cmov")};
    return Contains(kOthers, code) || std::any_of(kTables.begin(), kTables.end(),
                                                  [code](const Table& table) { return table.nCode == code; });
  }

  // libavformat looks for the first box itself: the head has one of two lengths.
  bool CheckMetaData(int64_t at, int64_t end, int depth) {
    while (end - at >= 8 && Word(at + 4) != Code("hdlr"))
      at += 4;
    return depth < kMaxDepth && Walk(at, end, depth + 1);
  }

  void CountEdits(int64_t at) {
    const bool wide = Byte(at) == 1;
    const int64_t entryBytes = wide ? 20 : 12;
    const uint32_t count = Word(at + 4);
    for (uint32_t i = 0; i < count; ++i) {
      const int64_t mediaTime = at + 8 + i * entryBytes + (wide ? 8 : 4);
      const bool empty = Word(mediaTime) == 0xFFFFFFFF;  // only delays
      if (!empty) ++m_nEdits;
    }
  }

  bool CountFrames(int64_t count, uint32_t bytesEach) {
    m_nTrackFrames += count;
    m_nFrames += count;
    return count <= Limit() / bytesEach && m_nFrames <= Limit();
  }
  int64_t Limit() const { return m_File.Size() + kFramesAlways; }

  const InputFile& m_File;
  std::array<uint8_t, 4096> m_Window = {};
  int64_t m_nWindow = 0;  // position of m_Window's first byte
  size_t m_nFilled = 0;

  BoxFacts m_Facts;
  bool m_bMovie = false;
  int64_t m_nFrames = 0;  // of all tracks
  int64_t m_nTrackFrames = 0;
  int64_t m_nEdits = 0;
  int64_t m_nTrackId = 0;
};

}  // namespace

std::optional<BoxFacts> CheckBoxes(const InputFile& file) {
  return Checker(file).Run();
}
