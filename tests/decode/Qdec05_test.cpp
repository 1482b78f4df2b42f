// The H.264 and H.265 decoders over the library on libavcodec: real clips, against what FFmpeg's own program
// makes of them.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "decode/Decoder.h"
#include "qdec05.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes ReadFile(const std::string& name) {
  std::ifstream file(std::string(QX_CLIPS "/") + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

bool IsH265(const std::string& name) {
  return name.ends_with(".h265");
}

CodecId CodecOf(const std::string& name) {
  return IsH265(name) ? kCodecH265 : kCodecH264;
}

// The clip cut in front of each access unit delimiter.
std::vector<Bytes> AccessUnits(const std::string& name) {
  const Bytes stream = ReadFile(name);
  const Bytes delimiter = {0, 0, 0, 1, static_cast<uint8_t>(IsH265(name) ? 35 << 1 : 9)};
  std::vector<Bytes> units;
  auto start = std::search(stream.begin(), stream.end(), delimiter.begin(), delimiter.end());
  while (start != stream.end()) {
    const auto end = std::search(start + 1, stream.end(), delimiter.begin(), delimiter.end());
    units.emplace_back(start, end);
    start = end;
  }
  EXPECT_EQ(units.size(), 12u) << name;
  return units;
}

// Memory that ends where the next byte faults.
class GuardedInput {
 public:
  static constexpr size_t kCapacity = 256 * 1024;

  GuardedInput() {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    m_nMapped = kCapacity + page;
    void* const memory = mmap(nullptr, m_nMapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) std::abort();
    m_pMemory = static_cast<uint8_t*>(memory);
    mprotect(m_pMemory + kCapacity, page, PROT_NONE);
  }
  ~GuardedInput() { munmap(m_pMemory, m_nMapped); }
  GuardedInput(const GuardedInput&) = delete;
  GuardedInput& operator=(const GuardedInput&) = delete;

  const uint8_t* Place(const uint8_t* data, size_t size) {
    uint8_t* const at = m_pMemory + kCapacity - size;
    std::memcpy(at, data, size);
    return at;
  }

 private:
  uint8_t* m_pMemory = nullptr;
  size_t m_nMapped = 0;
};

class Feeder {
 public:
  explicit Feeder(CodecId codec) : m_pDecoder(Decoder::CreateVideoDecoder(codec, 0, 0, 40)) {}

  bool Feed(const uint8_t* data, size_t size) {
    return m_pDecoder->DecodeFrameVideo(m_Picture, m_Input.Place(data, size), static_cast<uint32_t>(size), 0);
  }
  bool Feed(const Bytes& unit) { return Feed(unit.data(), unit.size()); }
  const DecodedPicture& Picture() const { return m_Picture; }

 private:
  std::shared_ptr<Decoder> m_pDecoder;
  DecodedPicture m_Picture;
  GuardedInput m_Input;
};

// The largest difference between a decoded picture and picture `index` of the reference; 256 when it has
// another size.
int Difference(const DecodedPicture& picture, const Bytes& reference, size_t index, uint32_t width,
               uint32_t height, bool lumaOnly = false) {
  if (!picture.bHasImage || picture.nWidth != width || picture.nHeight != height) return 256;
  const size_t chromaWidth = (width + 1) / 2, chromaBytes = chromaWidth * ((height + 1) / 2);
  const size_t pictureBytes = width * height + (lumaOnly ? 0 : 2 * chromaBytes);
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

struct Clip {
  const char* name;
  uint32_t width, height;
  size_t heldBack;  // pictures that reordering holds back
  int tolerance;
  bool lumaOnly;
};

class ClipTest : public testing::TestWithParam<Clip> {};

// Every picture, in display order, none later than the stream's own reordering asks for.
TEST_P(ClipTest, DecodesAsTheReferenceDoes) {
  const Clip& clip = GetParam();
  const Bytes reference = ReadFile(std::string(clip.name) + ".yuv");
  const std::vector<Bytes> units = AccessUnits(clip.name);
  Feeder feeder(CodecOf(clip.name));
  for (size_t i = 0; i < units.size(); ++i) {
    ASSERT_TRUE(feeder.Feed(units[i])) << i;
    ASSERT_EQ(feeder.Picture().bHasImage, i >= clip.heldBack) << i;
    if (i < clip.heldBack) continue;
    const DecodedPicture& picture = feeder.Picture();
    ASSERT_LE(Difference(picture, reference, i - clip.heldBack, clip.width, clip.height, clip.lumaOnly),
              clip.tolerance)
        << i;
    // All of the planes may be read, also what lies right of the picture.
    for (int plane = 0; plane < 3; ++plane) {
      const volatile uint8_t last = picture.pPlane[plane][picture.nPlaneSize[plane] - 1];
      static_cast<void>(last);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Clips, ClipTest,
    testing::Values(Clip{"plain.h264", 176, 144, 0, 0, false}, Clip{"reordered.h264", 176, 144, 2, 0, false},
                    Clip{"odd444.h264", 35, 33, 0, 1, false}, Clip{"gray.h264", 64, 48, 0, 0, true},
                    Clip{"plain.h265", 176, 144, 0, 0, false}, Clip{"reordered.h265", 176, 144, 2, 0, false},
                    Clip{"deep.h265", 176, 144, 0, 1, false}, Clip{"cropped.h265", 128, 64, 0, 0, false}),
    [](const auto& clip) {
      std::string name = clip.param.name;
      name[name.find('.')] = '_';
      return name;
    });

TEST(Qdec05, FollowsASizeChangeInMidStream) {
  const std::vector<Bytes> small = AccessUnits("plain.h264"), large = AccessUnits("larger.h264");
  const Bytes smallReference = ReadFile("plain.h264.yuv"), largeReference = ReadFile("larger.h264.yuv");
  Feeder feeder(kCodecH264);
  for (int round = 0; round < 2; ++round) {
    for (size_t i = 0; i < 6; ++i) {
      ASSERT_TRUE(feeder.Feed(small[i]));
      ASSERT_EQ(Difference(feeder.Picture(), smallReference, i, 176, 144), 0);
    }
    for (size_t i = 0; i < 6; ++i) {
      ASSERT_TRUE(feeder.Feed(large[i]));
      ASSERT_EQ(Difference(feeder.Picture(), largeReference, i, 336, 208), 0);
    }
  }
}

TEST(Qdec05, ShowsNothingBeforeTheFirstKeyFrame) {
  for (const char* name : {"plain.h264", "plain.h265"}) {
    const std::vector<Bytes> units = AccessUnits(name);
    const Bytes reference = ReadFile(std::string(name) + ".yuv");
    Feeder feeder(CodecOf(name));
    // The clips have a key frame every fourth picture.
    for (size_t i = 1; i < 4; ++i) {
      feeder.Feed(units[i]);
      EXPECT_FALSE(feeder.Picture().bHasImage) << name << i;
    }
    ASSERT_TRUE(feeder.Feed(units[4]));
    EXPECT_EQ(Difference(feeder.Picture(), reference, 4, 176, 144), 0) << name;
  }
}

// Damage is shown rather than a frozen picture, and heals at the next key frame.
TEST(Qdec05, GoesOnThroughALostFrame) {
  for (const char* name : {"plain.h264", "plain.h265"}) {
    const std::vector<Bytes> units = AccessUnits(name);
    const Bytes reference = ReadFile(std::string(name) + ".yuv");
    Feeder feeder(CodecOf(name));
    for (const size_t i : {0, 2, 3, 4}) {
      ASSERT_TRUE(feeder.Feed(units[i])) << name << i;
      EXPECT_TRUE(feeder.Picture().bHasImage) << name << i;
    }
    EXPECT_EQ(Difference(feeder.Picture(), reference, 4, 176, 144), 0) << name;
  }
}

TEST(Qdec05, HandsOutHeldBackPicturesOnRequest) {
  const std::vector<Bytes> units = AccessUnits("reordered.h264");
  const QXD05_Handle decoder = QXD05_DecodeOpen();
  ASSERT_NE(decoder, nullptr);
  for (int round = 0; round < 2; ++round) {
    const QXD05_Input input = {static_cast<uint32_t>(units[0].size()), units[0].data()};
    const QXD05_Picture* picture = nullptr;
    uint32_t heldBack = 0;
    ASSERT_GT(QXD05_DecodeOneFrame(decoder, &input, &picture, &heldBack), 0);
    EXPECT_EQ(picture->bPresent, 0u);
    heldBack = 1;
    ASSERT_GT(QXD05_DecodeOneFrame(decoder, &input, &picture, &heldBack), 0);
    EXPECT_EQ(picture->bPresent, 1u);
    EXPECT_EQ(picture->nWidth, 176u);
    ASSERT_GT(QXD05_DecodeOneFrame(decoder, &input, &picture, &heldBack), 0);
    EXPECT_EQ(picture->bPresent, 0u);
  }
  QXD05_DecodeClose(decoder);
}

class DamageTest : public testing::TestWithParam<const char*> {};

// Whatever the bytes: no crash, no read past the input, no word on the host's stderr, and a clean stream
// plays again afterwards.
TEST_P(DamageTest, SurvivesAnyBytes) {
  const std::vector<Bytes> units = AccessUnits(GetParam());
  const Bytes reference = ReadFile(std::string(GetParam()) + ".yuv");
  std::mt19937 random(20240307);
  Feeder feeder(CodecOf(GetParam()));
  testing::internal::CaptureStderr();

  for (size_t size = 1; size <= 64; ++size) {
    Bytes noise(size);
    for (uint8_t& byte : noise)
      byte = static_cast<uint8_t>(random() % 4 == 0 ? random() : 0);
    feeder.Feed(noise);
    feeder.Feed(units[0].data(), std::min(size, units[0].size()));
  }
  for (int pass = 0; pass < 40; ++pass) {
    for (Bytes unit : units) {
      for (uint32_t flips = random() % 6; flips > 0; --flips)
        unit[random() % unit.size()] = static_cast<uint8_t>(random());
      feeder.Feed(unit.data(), random() % 8 != 0 ? unit.size() : 1 + random() % unit.size());
    }
  }

  bool clean = false;
  for (int pass = 0; pass < 3; ++pass)
    for (const Bytes& unit : units)
      clean |= feeder.Feed(unit) && Difference(feeder.Picture(), reference, 9, 176, 144) == 0;
  EXPECT_TRUE(clean);
  // One message of libavcodec cannot be kept away: that a damaged header asks for an impossible size.
  std::istringstream words(testing::internal::GetCapturedStderr());
  for (std::string line; std::getline(words, line);)
    EXPECT_TRUE(line.find("Picture size") != std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(Clips, DamageTest,
                         testing::Values("plain.h264", "reordered.h264", "plain.h265", "reordered.h265"),
                         [](const auto& clip) {
                           std::string name = clip.param;
                           name[name.find('.')] = '_';
                           return name;
                         });

}  // namespace
