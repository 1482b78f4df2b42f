// The H.264 and H.265 decoders over a scripted library: what they hand it, what they make of its answers, and
// what is left after a crash. Also the factory and the PCM decoder.
#include "decode/Decoder05.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/LogLines.h"
#include "tests/support/ScriptedCodec05.h"
#include "video/PixelConversion.h"

namespace {

using scripted05::MakePicture;
using scripted05::TheCalls;
using scripted05::TheScript;
using testing::ElementsAre;
using testing::MatchesRegex;

int32_t CrashInDecode(scripted05::Decoder&, const QXD05_Input&) {
  scripted05::Crash();
  return 1;
}

// Both decoders share their behaviour; the parameter is the codec.
class Decoder05Test : public testing::TestWithParam<CodecId> {
 protected:
  Decoder05Test() {
    scripted05::Reset();
    m_pDecoder = Create();
  }
  ~Decoder05Test() override { scripted05::Reset(); }

  static std::shared_ptr<Decoder> Create() { return Decoder::CreateVideoDecoder(GetParam(), 64, 48, 40); }
  // Open, decode and close calls of this codec; the other codec's are never made.
  static std::vector<int> Called() {
    const auto& calls = TheCalls();
    std::vector<int> h264 = {calls.opens, calls.decodes, calls.closes};
    std::vector<int> h265 = {calls.opensEx, calls.decodesEx, calls.closesEx};
    if (GetParam() == kCodecH265) h264.swap(h265);
    EXPECT_THAT(h265, testing::Each(0));
    return h264;
  }
  // The lines logged since the last call were just this one.
  void ExpectLogged(const std::string& pattern) {
    EXPECT_THAT(TakeLogLines(m_Seam),
                ElementsAre(MatchesRegex("error: Decoder\\.cpp\\([0-9]+\\): " + pattern + "\n")));
  }

  bool Decode(uint8_t value = 77) { return m_pDecoder->DecodeFrameVideo(m_Picture, &value, 1, 12); }
  bool Snapshot() {
    std::vector<uint8_t> rgb(64 * 48 * 4);
    return m_pDecoder->GetImageRGB32(rgb.data(), static_cast<uint32_t>(rgb.size()));
  }

  TestSeam m_Seam;
  std::shared_ptr<Decoder> m_pDecoder;
  DecodedPicture m_Picture;
};

// Of pictures that are copied; the copies themselves are compared in VideoClips_test.cpp.
TEST_P(Decoder05Test, SnapshotsAreTheLastPictureBottomUp) {
  constexpr uint32_t kSize = 60 * 2 * 4;
  TheScript().decode = [](scripted05::Decoder& decoder, const QXD05_Input& given) {
    MakePicture(decoder, 60, 2, 64, 33, given.pData[0]);
    std::memset(decoder.memory.data(), 235, 64);  // first row white
    return 5;
  };
  ASSERT_TRUE(Decode());
  EXPECT_THAT(m_Picture.nStride, ElementsAre(64, 33, 33, 0));
  EXPECT_THAT(m_Picture.nPlaneSize, ElementsAre(128, 33, 33, 0));
  std::vector<uint8_t> expected(kSize), rgb(kSize);
  PlanarToRGB32(expected.data(), 60 * 4, m_Picture.pPlane[0], m_Picture.pPlane[1], m_Picture.pPlane[2], 64,
                33, 60, 2, true);
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(rgb.data(), kSize - 1));
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(nullptr, kSize));
  EXPECT_THAT(rgb, testing::Each(0));
  ASSERT_TRUE(m_pDecoder->GetImageRGB32(rgb.data(), kSize));
  EXPECT_EQ(rgb, expected);
}

TEST_P(Decoder05Test, FramesWithoutAPicture) {
  EXPECT_FALSE(Snapshot());
  ASSERT_TRUE(Decode());
  const uint8_t byte = 0;
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, nullptr, 100, 1));
  EXPECT_FALSE(m_Picture.bHasImage);
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, &byte, 0, 1));
  EXPECT_THAT(Called(), ElementsAre(1, 1, 0));

  const auto& decoder05 = static_cast<Decoder05&>(*m_pDecoder);
  for (const auto& [result, count] : {std::pair(0, 0u), {-1, 0u}, {1, 1u}, {1, 2u}}) {
    TheScript().decode = [answer = result](scripted05::Decoder& decoder, const QXD05_Input&) {
      decoder.picture.bPresent = 0;
      return answer;
    };
    m_Picture.bHasImage = true;
    EXPECT_EQ(Decode(), result > 0);
    EXPECT_FALSE(m_Picture.bHasImage);
    EXPECT_EQ(Snapshot(), result <= 0) << "of the last picture, unless a frame had none";
    EXPECT_EQ(decoder05.NoPictureCount(), count);
  }
  TheScript().decode = nullptr;
  EXPECT_TRUE(Decode());
  EXPECT_EQ(decoder05.NoPictureCount(), 0u);
  EXPECT_TRUE(Snapshot());
  EXPECT_THAT(m_Seam.TakeText(), ElementsAre());
}

TEST_P(Decoder05Test, CrashesAreLoggedAndTheLibraryIsReopened) {
  const std::string text = std::string("QXD05_DecodeOneFrame") + (GetParam() == kCodecH265 ? "Ex" : "");
  TheScript().close = scripted05::Crash;  // must not stop the reset, nor reach the host at the end
  for (int crashes = 1; crashes <= 3; ++crashes) {
    TheScript().decode = CrashInDecode;
    m_Picture.bHasImage = true;
    EXPECT_FALSE(Decode());
    EXPECT_FALSE(m_Picture.bHasImage);
    ExpectLogged(text + " crash,decodeid:12");
    TheScript().decode = nullptr;
    EXPECT_TRUE(Decode());
    EXPECT_THAT(Called(), ElementsAre(1 + crashes, 2 * crashes, crashes));
    EXPECT_TRUE(m_Picture.bHasImage);
  }
  // Reopened in vain: frames are refused, and the library is left alone.
  TheScript().decode = CrashInDecode;
  TheScript().open = [] { return false; };
  EXPECT_FALSE(Decode());
  EXPECT_FALSE(Decode());
  EXPECT_FALSE(Snapshot());
  EXPECT_THAT(Called(), ElementsAre(5, 7, 4));
  EXPECT_EQ(Create(), nullptr);
  TheScript().open = [] {
    scripted05::Crash();
    return true;
  };
  EXPECT_EQ(Create(), nullptr);
  TheScript().open = nullptr;
  EXPECT_NE(Create(), nullptr);
  EXPECT_EQ(Called()[2], 5);
}

// A library that claims a picture of 2^32 bytes and more: no memory for it, and nothing of it is read.
TEST_P(Decoder05Test, APictureThatFindsNoMemoryHasNullPlanes) {
  TheScript().decode = [](scripted05::Decoder& decoder, const QXD05_Input&) {
    decoder.picture = {64, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, nullptr, nullptr, nullptr, 1};
    return 1;
  };
  EXPECT_TRUE(Decode());
  EXPECT_TRUE(m_Picture.bHasImage);
  EXPECT_THAT(m_Picture.pPlane, testing::Each(nullptr));
  const std::string name = GetParam() == kCodecH264 ? "H264Decoder" : "H265Decoder";
  ExpectLogged(
      "decodeid:12 " + name +
      "::DecodeFrameVideo \xBB\xBA\xB4\xE6\xB4\xF3\xD0\xA1:-?[0-9]+ realloc\xCA\xA7\xB0\xDC error:[0-9]+");
  EXPECT_TRUE(Decode());
  EXPECT_THAT(m_Seam.TakeText(), ElementsAre());  // the same size again is not tried again
  TheScript().decode = nullptr;
  EXPECT_TRUE(Decode());
  EXPECT_NE(m_Picture.pPlane[0], nullptr);
}

INSTANTIATE_TEST_SUITE_P(Codecs, Decoder05Test, testing::Values(kCodecH264, kCodecH265),
                         [](const auto& codec) { return codec.param == kCodecH264 ? "H264" : "H265"; });

TEST(DecoderFactory, PicksTheClassByCodec) {
  scripted05::Reset();
  for (const auto& [codec, delay] : {std::pair(2u, 0u), std::pair(3u, 160u), std::pair(0x81u, 0u)}) {
    const auto decoder = Decoder::CreateVideoDecoder(codec, 64, 48, 40);
    ASSERT_NE(decoder, nullptr);
    EXPECT_EQ(decoder->GetDecoderType(), codec);
    EXPECT_EQ(decoder->GetDelay(), delay);
  }
  for (const uint32_t unknown : {0u, 4u, 128u, 134u, 0xFFFFFFFFu})
    EXPECT_EQ(Decoder::CreateAudioDecoder(unknown, 8192, 1, 8000), nullptr) << unknown;

  EXPECT_TRUE(Decoder::InitSDK());
  TheScript().nInitResult = 0;
  EXPECT_FALSE(Decoder::InitSDK());
  Decoder::ReleaseSDK();
  EXPECT_EQ(TheCalls().inits, 2);
  EXPECT_EQ(TheCalls().releases, 1);
}

TEST(PCMDecoder, CopiesFramesUpToItsCapacity) {
  for (const uint32_t capacity : {8192u, 1024u}) {
    const auto decoder = Decoder::CreateAudioDecoder(kCodecPcm, capacity, 1, 8000);
    std::vector<uint8_t> frame(capacity + 1, 42);
    DecodedSound sound;
    EXPECT_FALSE(decoder->DecodeFrameAudio(sound, frame.data(), capacity + 1, 0));
    EXPECT_FALSE(decoder->DecodeFrameAudio(sound, nullptr, 4, 0));
    ASSERT_TRUE(decoder->DecodeFrameAudio(sound, frame.data(), capacity, 0));
    frame.assign(frame.size(), 0);  // the host's bytes are gone, the sound stays
    EXPECT_THAT(std::vector<uint8_t>(sound.pData, sound.pData + sound.dwSize),
                testing::AllOf(testing::SizeIs(capacity), testing::Each(42)));
  }
}

}  // namespace
