#include "tests/decode/Clips.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>

namespace {

constexpr size_t kPictures = 12;

// Cut in front of each access unit delimiter.
std::vector<Bytes> CutAtDelimiters(const Bytes& stream, uint8_t nalHeader) {
  const Bytes delimiter = {0, 0, 0, 1, nalHeader};
  std::vector<Bytes> units;
  auto start = std::search(stream.begin(), stream.end(), delimiter.begin(), delimiter.end());
  while (start != stream.end()) {
    const auto end = std::search(start + 1, stream.end(), delimiter.begin(), delimiter.end());
    units.emplace_back(start, end);
    start = end;
  }
  return units;
}

// MPEG-4 Part 2, cut in front of the first start code behind each picture; each unit gets the older codec's
// frame head.
std::vector<Bytes> CutBehindPictures(const Bytes& stream) {
  constexpr uint8_t kStartCode[] = {0, 0, 1};
  constexpr uint8_t kPictureCode = 0xB6;
  const auto next = [&](auto from) {
    return std::search(from, stream.end(), kStartCode, std::end(kStartCode));
  };
  std::vector<Bytes> units;
  auto start = stream.begin();
  for (auto code = start; code != stream.end();) {
    const auto following = next(code + 1);
    if (code[3] == kPictureCode) {
      const auto length = static_cast<uint32_t>(following - start);
      const uint32_t type = code[4] >> 6 == 0 ? 1 : 0;  // intra picture: a key frame
      const uint32_t word = type | length << 4;
      Bytes unit = {0, 0, 0, 0};
      for (int shift = 0; shift < 32; shift += 8)
        unit.push_back(static_cast<uint8_t>(word >> shift));
      unit.insert(unit.end(), start, following);
      units.push_back(unit);
      start = following;
    }
    code = following;
  }
  return units;
}

}  // namespace

Bytes ReadClip(const std::string& name) {
  std::ifstream file(std::string(QX_CLIPS "/") + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

std::vector<Bytes> AccessUnits(const std::string& name) {
  const Bytes stream = ReadClip(name);
  const std::vector<Bytes> units = name.ends_with(".m4v")    ? CutBehindPictures(stream)
                                   : name.ends_with(".h265") ? CutAtDelimiters(stream, 35 << 1)
                                                             : CutAtDelimiters(stream, 9);
  EXPECT_EQ(units.size(), kPictures) << name;
  return units;
}

int Difference(const DecodedPicture& picture, const Bytes& reference, size_t index, uint32_t width,
               uint32_t height, bool lumaOnly) {
  if (!picture.bHasImage || picture.nWidth != width || picture.nHeight != height) return 256;
  const size_t chromaWidth = (width + 1) / 2, chromaBytes = chromaWidth * ((height + 1) / 2);
  const size_t pictureBytes = width * height + (lumaOnly ? 0 : 2 * chromaBytes);
  if (reference.size() < (index + 1) * pictureBytes) return 256;
  const uint8_t* expected = reference.data() + index * pictureBytes;
  int worst = 0;
  for (int plane = 0; plane < (lumaOnly ? 1 : 3); ++plane) {
    const size_t columns = plane == 0 ? width : width / 2, rows = plane == 0 ? height : height / 2;
    const size_t expectedStride = plane == 0 ? width : chromaWidth;
    for (size_t y = 0; y < rows; ++y)
      for (size_t x = 0; x < columns; ++x)
        worst = std::max(worst, std::abs(picture.pPlane[plane][y * picture.nStride[plane] + x] -
                                         expected[y * expectedStride + x]));
    expected += plane == 0 ? width * height : chromaBytes;
  }
  return worst;
}

GuardedInput::GuardedInput() {
  const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  m_nMapped = kCapacity + page;
  void* const memory = mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) std::abort();
  m_pMemory = static_cast<uint8_t*>(memory);
  mprotect(m_pMemory + kCapacity, page, PROT_NONE);
}

GuardedInput::~GuardedInput() {
  munmap(m_pMemory, m_nMapped);
}

const uint8_t* GuardedInput::Place(const uint8_t* data, size_t size) {
  uint8_t* const at = m_pMemory + kCapacity - size;
  std::memcpy(at, data, size);
  return at;
}
