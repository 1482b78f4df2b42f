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
  // The count of a function of this codec; the other codec's is never called.
  static int Count(const std::atomic<int>& h264, const std::atomic<int>& h265) {
    EXPECT_EQ(GetParam() == kCodecH264 ? h265 : h264, 0);
    return GetParam() == kCodecH264 ? h264 : h265;
  }
  static int Opens() { return Count(TheCalls().opens, TheCalls().opensEx); }
  static int Decodes() { return Count(TheCalls().decodes, TheCalls().decodesEx); }
  static int Closes() { return Count(TheCalls().closes, TheCalls().closesEx); }
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

TEST_P(Decoder05Test, PicturesAreCopiedIntoOneBuffer) {
  // An odd height: 33 x 47 / 2 chroma bytes end in the middle of a row. Then other sizes in mid-stream.
  for (const uint32_t height : {47u, 47u, 1080u, 2u}) {
    const uint32_t luma = 64 * height, chroma = 33 * height / 2;
    const auto value = static_cast<uint8_t>(100 + height % 50);
    TheScript().decode = [height](scripted05::Decoder& decoder, const QXD05_Input& given) {
      MakePicture(decoder, 60, height, 64, 33, given.pData[0]);
      std::memset(decoder.memory.data(), 235, 64);  // first row white
      return 5;
    };
    ASSERT_TRUE(Decode(value));
    EXPECT_TRUE(m_Picture.bHasImage);
    EXPECT_EQ(m_Picture.nWidth, 60u);
    EXPECT_EQ(m_Picture.nHeight, height);
    EXPECT_EQ(m_Picture.nPixelFormat, QPF_YV12);
    EXPECT_THAT(m_Picture.nStride, ElementsAre(64, 33, 33, 0));
    EXPECT_THAT(m_Picture.nPlaneSize, ElementsAre(luma, chroma, chroma, 0));
    uint8_t* const first = m_Picture.pPlane[0];
    EXPECT_THAT(m_Picture.pPlane, ElementsAre(first, first + luma, first + luma + chroma, nullptr));
    std::vector<uint8_t> expected(64, 235);
    expected.resize(luma, value);
    expected.resize(luma + chroma, static_cast<uint8_t>(value + 1));
    expected.resize(luma + 2 * chroma, static_cast<uint8_t>(value + 2));
    EXPECT_EQ(std::memcmp(first, expected.data(), expected.size()), 0);
  }

  // A snapshot is the last picture, bottom up.
  const uint32_t size = 60 * 2 * 4;
  std::vector<uint8_t> expected(size), rgb(size);
  PlanarToRGB32(expected.data(), 60 * 4, m_Picture.pPlane[0], m_Picture.pPlane[1], m_Picture.pPlane[2], 64,
                33, 60, 2, true);
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(rgb.data(), size - 1));
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(nullptr, size));
  EXPECT_THAT(rgb, testing::Each(0));
  ASSERT_TRUE(m_pDecoder->GetImageRGB32(rgb.data(), size));
  EXPECT_EQ(rgb, expected);
}

TEST_P(Decoder05Test, FramesWithoutAPicture) {
  EXPECT_FALSE(Snapshot());
  ASSERT_TRUE(Decode());
  const uint8_t byte = 0;
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, nullptr, 100, 1));
  EXPECT_FALSE(m_Picture.bHasImage);
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, &byte, 0, 1));
  EXPECT_EQ(Decodes(), 1);

  const auto& decoder05 = static_cast<Decoder05&>(*m_pDecoder);
  const struct {
    int32_t result;
    bool decoded, keepsLast;
    uint32_t count;
  } kAnswers[] = {{0, false, true, 0}, {-1, false, true, 0}, {1, true, false, 1}, {1, true, false, 2}};
  for (const auto& answer : kAnswers) {
    TheScript().decode = [&answer](scripted05::Decoder& decoder, const QXD05_Input&) {
      decoder.picture.bPresent = 0;
      return answer.result;
    };
    m_Picture.bHasImage = true;
    EXPECT_EQ(Decode(), answer.decoded);
    EXPECT_FALSE(m_Picture.bHasImage);
    EXPECT_EQ(Snapshot(), answer.keepsLast);
    EXPECT_EQ(decoder05.NoPictureCount(), answer.count);
  }
  TheScript().decode = nullptr;
  EXPECT_TRUE(Decode());
  EXPECT_EQ(decoder05.NoPictureCount(), 0u);
  EXPECT_TRUE(Snapshot());
  EXPECT_EQ(Opens(), 1);
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
    EXPECT_EQ(Opens(), 1 + crashes);
    EXPECT_EQ(Closes(), crashes);
    TheScript().decode = nullptr;
    EXPECT_TRUE(Decode());
    EXPECT_TRUE(m_Picture.bHasImage);
  }
  // Reopened in vain: frames are refused, and the library is left alone.
  TheScript().decode = CrashInDecode;
  TheScript().open = [] { return false; };
  EXPECT_FALSE(Decode());
  const int decodes = Decodes();
  EXPECT_FALSE(Decode());
  EXPECT_FALSE(Snapshot());
  EXPECT_EQ(Decodes(), decodes);

  EXPECT_EQ(Create(), nullptr);
  TheScript().open = [] {
    scripted05::Crash();
    return true;
  };
  EXPECT_EQ(Create(), nullptr);
  EXPECT_EQ(Closes(), 4);
  TheScript().open = nullptr;
  EXPECT_NE(Create(), nullptr);
  EXPECT_EQ(Closes(), 5);
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
