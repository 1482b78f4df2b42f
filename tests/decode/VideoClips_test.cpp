// The video decoders over the libraries on libavcodec: real clips, against what FFmpeg's own program makes of
// them.
#include <algorithm>
#include <memory>
#include <random>
#include <sstream>

#include "decode/Decoder.h"
#include "tests/decode/Clips.h"
#include "tests/support/GuardedPlane.h"

namespace {

constexpr size_t kPictures = 12;
constexpr size_t kKeyInterval = 4;  // of the plain clips

struct Clip {
  const char* name;
  uint32_t width = 176, height = 144;
  size_t heldBack = 0;  // pictures that reordering holds back
  int tolerance = 0;
};

// A clip, and a decoder that is fed parts of it.
class ClipTest : public testing::TestWithParam<Clip> {
 protected:
  void Load(const Clip& clip) {
    const std::string name = clip.name;
    m_Clip = clip;
    m_bOlder = name.ends_with(".m4v");
    m_Reference = ReadClip(name + ".raw");
    m_Units.clear();
    for (size_t i = 1; i <= kPictures; ++i)
      m_Units.push_back(ReadClip(name + "." + std::to_string(i)));
    if (m_pDecoder != nullptr) return;
    const CodecId codec = m_bOlder ? kCodecQdec04 : name.ends_with(".h265") ? kCodecH265 : kCodecH264;
    m_pDecoder = Decoder::CreateVideoDecoder(codec, 0, 0, 40);
  }

  bool Feed(std::span<const uint8_t> bytes) {
    return m_pDecoder->DecodeFrameVideo(m_Picture, GuardedBytes(bytes).Data(),
                                        static_cast<uint32_t>(bytes.size()), 0);
  }
  // The unit as the decoder takes it: the older codec's frames have a head.
  Bytes Unit(size_t index) const {
    Bytes unit = m_Units[index];
    if (!m_bOlder) return unit;
    const size_t word = unit.size() << 4 | (index % kKeyInterval == 0 ? 1 : 0);
    Bytes head = {0, 0, 0, 0};
    for (int shift = 0; shift < 32; shift += 8)
      head.push_back(static_cast<uint8_t>(word >> shift));
    unit.insert(unit.begin(), head.begin(), head.end());
    return unit;
  }
  // The decoded picture is this one of the reference, and all bytes of its planes can be read.
  testing::AssertionResult IsPicture(size_t index) const {
    if (!m_Picture.bHasImage || m_Picture.nWidth != m_Clip.width || m_Picture.nHeight != m_Clip.height)
      return testing::AssertionFailure() << "no picture, or another size";
    const size_t chroma = (m_Clip.width + 1) / 2 * ((m_Clip.height + 1) / 2);
    const size_t luma = m_Clip.width * m_Clip.height;
    if (m_Reference.size() != kPictures * (luma + 2 * chroma))
      return testing::AssertionFailure() << "reference";
    const uint8_t* expected = &m_Reference[index * (luma + 2 * chroma)];
    for (int plane = 0; plane < 3; ++plane) {
      const uint32_t shift = plane == 0 ? 0 : 1;
      const size_t stride = (m_Clip.width + shift) >> shift;
      const Bytes decoded(m_Picture.pPlane[plane], m_Picture.pPlane[plane] + m_Picture.nPlaneSize[plane]);
      for (size_t y = 0; y < m_Clip.height >> shift; ++y)
        for (size_t x = 0; x < m_Clip.width >> shift; ++x)
          if (std::abs(decoded[y * m_Picture.nStride[plane] + x] - expected[y * stride + x]) >
              m_Clip.tolerance)
            return testing::AssertionFailure() << "picture " << index << " plane " << plane;
      expected += plane == 0 ? luma : chroma;
    }
    return testing::AssertionSuccess();
  }

  Clip m_Clip = {};
  bool m_bOlder = false;
  Bytes m_Reference;
  std::vector<Bytes> m_Units;
  std::shared_ptr<Decoder> m_pDecoder;
  DecodedPicture m_Picture;
};

// Every picture, in display order, none later than the stream's own reordering asks for.
TEST_P(ClipTest, DecodesAsTheReferenceDoes) {
  Load(GetParam());
  for (size_t i = 0; i < kPictures; ++i) {
    ASSERT_TRUE(Feed(Unit(i))) << i;
    ASSERT_EQ(m_Picture.bHasImage, i >= m_Clip.heldBack) << i;
    ASSERT_TRUE(i < m_Clip.heldBack || IsPicture(i - m_Clip.heldBack));
  }
}

class DamageTest : public ClipTest {};

// Whatever the bytes: no crash, no read past the input, no word on the host's stderr, and a clean stream
// plays again afterwards.
TEST_P(DamageTest, AnyBytes) {
  Load(GetParam());
  std::mt19937 random(20240307);
  testing::internal::CaptureStderr();
  const Bytes first = Unit(0);
  for (size_t size = 1; size <= 64; ++size) {
    Bytes noise(size);
    for (uint8_t& byte : noise)
      byte = static_cast<uint8_t>(random() % 4 == 0 ? random() : 0);
    Feed(noise);
    Feed(std::span(first).first(std::min(size, first.size())));
  }
  for (size_t round = 0; round < 40 * kPictures; ++round) {
    Bytes unit = Unit(round % kPictures);
    for (uint32_t flips = random() % 6; flips > 0; --flips)
      unit[random() % unit.size()] = static_cast<uint8_t>(random());
    Feed(std::span(unit).first(random() % 8 != 0 ? unit.size() : 1 + random() % unit.size()));
  }
  // Two clean passes to heal, and then every picture is right and none is late.
  for (size_t i = 0; i < 3 * kPictures; ++i) {
    Feed(Unit(i % kPictures));
    if (i >= 2 * kPictures) {
      EXPECT_TRUE(IsPicture((i - m_Clip.heldBack) % kPictures));
    }
  }
  // One message of libavcodec cannot be kept away: that a damaged header asks for an impossible size.
  std::istringstream words(testing::internal::GetCapturedStderr());
  for (std::string line; std::getline(words, line);)
    EXPECT_TRUE(line.find("Picture size") != std::string::npos) << line;
}

constexpr Clip kPlain = {"plain.h264"}, kLarger = {"larger.h264", 336, 208};
constexpr Clip kReordered = {"reordered.h264", 176, 144, 2}, kReordered265 = {"reordered.h265", 176, 144, 2};
constexpr Clip kPlain265 = {"plain.h265"}, kOlder = {"plain.m4v"};

// Nothing is shown before the first key frame. A lost frame is shown as damage rather than a frozen picture,
// and heals at the next key frame.
TEST_F(ClipTest, LostFrames) {
  for (const Clip& clip : {kPlain, kPlain265, kOlder}) {
    m_pDecoder.reset();
    Load(clip);
    for (const size_t i : {1, 2, 3, 4, 5, 7, 8}) {
      const bool fed = Feed(Unit(i));
      EXPECT_EQ(m_Picture.bHasImage, i >= kKeyInterval) << clip.name << i;
      if (i < kKeyInterval) continue;
      EXPECT_TRUE(fed);
      EXPECT_EQ(IsPicture(i), i != 7) << clip.name << i;
    }
  }
}

// As a film does that is moved back to the key frame it has just shown. H.265 has key frames that may not
// follow themselves.
TEST_F(ClipTest, AKeyFrameMayComeAgain) {
  constexpr uint8_t kVps = 0x40;
  Load({"open.h265", 176, 144});
  size_t keyFrames = 0;
  for (size_t i = 0; i < kPictures; ++i) {
    ASSERT_TRUE(Feed(Unit(i)));
    const Bytes unit = Unit(i);
    if (*std::ranges::find_if(unit, [](uint8_t byte) { return byte > 1; }) != kVps) continue;
    ++keyFrames;
    EXPECT_TRUE(Feed(unit)) << i;
  }
  EXPECT_GT(keyFrames, 1u);
}

TEST_F(ClipTest, FollowsASizeChangeInMidStream) {
  for (const Clip& clip : {kPlain, kLarger, kPlain}) {
    Load(clip);
    for (size_t i = 0; i < kPictures; ++i) {
      ASSERT_TRUE(Feed(Unit(i)));
      ASSERT_TRUE(IsPicture(i));
    }
  }
}

TEST_F(ClipTest, RefusesPicturesWiderThanTenThousand) {
  Load({"wide.h264", 10016, 16});
  for (size_t i = 0; i < kPictures; ++i) {
    EXPECT_FALSE(Feed(Unit(i)));
    EXPECT_FALSE(m_Picture.bHasImage);
  }
}

const auto kNameOf = [](const auto& clip) {
  std::string name = clip.param.name;
  name[name.find('.')] = '_';
  return name;
};
INSTANTIATE_TEST_SUITE_P(Clips, ClipTest,
                         testing::Values(kPlain, kReordered, kPlain265, kReordered265, kOlder,
                                         Clip{"interlaced.h264"}, Clip{"tiny.h264", 18, 34},
                                         Clip{"odd.m4v", 35, 33}, Clip{"odd444.h264", 35, 33, 0, 1},
                                         Clip{"deep.h265", 176, 144, 0, 1}, Clip{"cropped.h265", 128, 64}),
                         kNameOf);
INSTANTIATE_TEST_SUITE_P(Clips, DamageTest,
                         testing::Values(kPlain, kReordered, kPlain265, kReordered265, kOlder), kNameOf);

}  // namespace
