// The video decoders over the libraries on libavcodec: real clips, against what FFmpeg's own program makes of
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "decode/Decoder.h"
#include "qdec05.h"
#include "tests/decode/Clips.h"

namespace {

CodecId CodecOf(const std::string& name) {
  return name.ends_with(".m4v") ? kCodecQdec04 : name.ends_with(".h265") ? kCodecH265 : kCodecH264;
}

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
  const Bytes reference = ReadClip(std::string(clip.name) + ".yuv");
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
                    Clip{"deep.h265", 176, 144, 0, 1, false}, Clip{"cropped.h265", 128, 64, 0, 0, false},
                    Clip{"plain.m4v", 176, 144, 0, 0, false}),
    [](const auto& clip) {
      std::string name = clip.param.name;
      name[name.find('.')] = '_';
      return name;
    });

TEST(VideoClips, FollowsASizeChangeInMidStream) {
  const std::vector<Bytes> small = AccessUnits("plain.h264"), large = AccessUnits("larger.h264");
  const Bytes smallReference = ReadClip("plain.h264.yuv"), largeReference = ReadClip("larger.h264.yuv");
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

TEST(VideoClips, RefusesPicturesWiderThanTenThousand) {
  Feeder feeder(kCodecH264);
  for (const Bytes& unit : AccessUnits("wide.h264")) {
    EXPECT_FALSE(feeder.Feed(unit));
    EXPECT_FALSE(feeder.Picture().bHasImage);
  }
}

TEST(VideoClips, ShowsNothingBeforeTheFirstKeyFrame) {
  for (const char* name : {"plain.h264", "plain.h265", "plain.m4v"}) {
    const std::vector<Bytes> units = AccessUnits(name);
    const Bytes reference = ReadClip(std::string(name) + ".yuv");
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
TEST(VideoClips, GoesOnThroughALostFrame) {
  for (const char* name : {"plain.h264", "plain.h265", "plain.m4v"}) {
    const std::vector<Bytes> units = AccessUnits(name);
    const Bytes reference = ReadClip(std::string(name) + ".yuv");
    Feeder feeder(CodecOf(name));
    for (const size_t i : {0, 2, 3, 4}) {
      ASSERT_TRUE(feeder.Feed(units[i])) << name << i;
      EXPECT_TRUE(feeder.Picture().bHasImage) << name << i;
    }
    EXPECT_EQ(Difference(feeder.Picture(), reference, 4, 176, 144), 0) << name;
  }
}

TEST(VideoClips, HandsOutHeldBackPicturesOnRequest) {
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
  const Bytes reference = ReadClip(std::string(GetParam()) + ".yuv");
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

  // Two clean passes to heal, and then every picture is right and none is late.
  const size_t heldBack = std::string(GetParam()).starts_with("reordered") ? 2 : 0;
  for (int pass = 0; pass < 3; ++pass) {
    for (size_t i = 0; i < units.size(); ++i) {
      feeder.Feed(units[i]);
      const size_t expected = (i + units.size() - heldBack) % units.size();
      if (pass < 2) continue;
      EXPECT_EQ(Difference(feeder.Picture(), reference, expected, 176, 144), 0) << i;
    }
  }
  // One message of libavcodec cannot be kept away: that a damaged header asks for an impossible size.
  std::istringstream words(testing::internal::GetCapturedStderr());
  for (std::string line; std::getline(words, line);)
    EXPECT_TRUE(line.find("Picture size") != std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(Clips, DamageTest,
                         testing::Values("plain.h264", "reordered.h264", "plain.h265", "reordered.h265",
                                         "plain.m4v"),
                         [](const auto& clip) {
                           std::string name = clip.param;
                           name[name.find('.')] = '_';
                           return name;
                         });

}  // namespace
