// The H.264 and H.265 decoders over a scripted library: what they hand it, what they make of its answers, and
// what is left after a crash.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "decode/Decoder05.h"
#include "tests/support/ScriptedCodec05.h"
#include "tests/support/TestSeam.h"
#include "video/PixelConversion.h"

namespace {

using scripted05::MakePicture;
using scripted05::TheCalls;
using scripted05::TheScript;
using testing::HasSubstr;

// Everything that was logged since the last call, as one text.
std::string TakeLog(TestSeam& seam) {
  std::string all;
  for (const std::string& line : seam.TakeText())
    all += line;
  return all;
}

// Both decoders share their behaviour; the parameter is the codec.
class Decoder05Test : public testing::TestWithParam<CodecId> {
 protected:
  void SetUp() override {
    scripted05::Reset();
    m_pDecoder = Create();
    ASSERT_NE(m_pDecoder, nullptr);
  }
  void TearDown() override {
    scripted05::Reset();
    m_pDecoder.reset();
  }

  static std::shared_ptr<Decoder> Create() { return Decoder::CreateVideoDecoder(GetParam(), 64, 48, 40); }
  static bool Ex() { return GetParam() == kCodecH265; }
  static int Opens() { return Ex() ? TheCalls().opensEx : TheCalls().opens; }
  static int Decodes() { return Ex() ? TheCalls().decodesEx : TheCalls().decodes; }
  static int Closes() { return Ex() ? TheCalls().closesEx : TheCalls().closes; }
  // Calls of the other codec's functions.
  static int Strays() {
    const scripted05::Calls& calls = TheCalls();
    return Ex() ? calls.opens + calls.decodes + calls.closes
                : calls.opensEx + calls.decodesEx + calls.closesEx;
  }

  bool Decode(uint8_t value = 77) { return m_pDecoder->DecodeFrameVideo(m_Picture, &value, 1, 12); }
  uint32_t NoPictureCount() const { return static_cast<Decoder05&>(*m_pDecoder).NoPictureCount(); }

  std::shared_ptr<Decoder> m_pDecoder;
  DecodedPicture m_Picture;
};

TEST_P(Decoder05Test, CopiesThePictureIntoOneBufferOfItsOwn) {
  std::vector<uint8_t> input = {9, 8, 7};
  TheScript().decode = [&](scripted05::Decoder& decoder, const QXD05_Input& given) {
    EXPECT_EQ(given.pData, input.data());
    EXPECT_EQ(given.dwLength, 3u);
    // An odd height: 32 x 47 / 2 chroma bytes end in the middle of a row.
    MakePicture(decoder, 60, 47, 64, 33, 100);
    return 5;
  };
  ASSERT_TRUE(m_pDecoder->DecodeFrameVideo(m_Picture, input.data(), 3, 12));
  TheScript().decode = nullptr;

  EXPECT_TRUE(m_Picture.bHasImage);
  EXPECT_EQ(m_Picture.nWidth, 60u);
  EXPECT_EQ(m_Picture.nHeight, 47u);
  EXPECT_EQ(m_Picture.nPixelFormat, QPF_YV12);
  const uint32_t chroma = 33 * 47 / 2;
  EXPECT_THAT(m_Picture.nStride, testing::ElementsAre(64, 33, 33, 0));
  EXPECT_THAT(m_Picture.nPlaneSize, testing::ElementsAre(64 * 47, chroma, chroma, 0));
  EXPECT_EQ(m_Picture.pPlane[1], m_Picture.pPlane[0] + 64 * 47);
  EXPECT_EQ(m_Picture.pPlane[2], m_Picture.pPlane[1] + chroma);
  EXPECT_EQ(m_Picture.pPlane[3], nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(m_Picture.pPlane[0]) % 64, 0u);
  for (int plane = 0; plane < 3; ++plane) {
    const std::vector<uint8_t> expected(m_Picture.nPlaneSize[plane], static_cast<uint8_t>(100 + plane));
    EXPECT_EQ(std::memcmp(m_Picture.pPlane[plane], expected.data(), expected.size()), 0) << "plane " << plane;
  }
  EXPECT_EQ(Strays(), 0);
}

TEST_P(Decoder05Test, NeverCallsTheLibraryWithoutAFrame) {
  m_Picture.bHasImage = true;
  const uint8_t byte = 0;
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, nullptr, 100, 1));
  EXPECT_FALSE(m_Picture.bHasImage);
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, &byte, 0, 1));
  EXPECT_EQ(Decodes(), 0);
}

TEST_P(Decoder05Test, ReusesTheBufferUntilThePictureBytesChange) {
  ASSERT_TRUE(Decode(1));
  const uint8_t* const first = m_Picture.pPlane[0];
  ASSERT_TRUE(Decode(2));
  EXPECT_EQ(m_Picture.pPlane[0], first);

  TheScript().decode = [](scripted05::Decoder& decoder, const QXD05_Input& input) {
    MakePicture(decoder, 1920, 1080, 1920, 960, input.pData[0]);
    return 1;
  };
  ASSERT_TRUE(Decode(3));
  EXPECT_EQ(m_Picture.nPlaneSize[0], 1920u * 1080);
  EXPECT_EQ(m_Picture.pPlane[0][1920 * 1080 - 1], 3);
  EXPECT_EQ(m_Picture.pPlane[2][960 * 540 - 1], 5);
}

TEST_P(Decoder05Test, CountsFramesWithoutPictureAndForgetsTheLastOne) {
  std::vector<uint8_t> rgb(64 * 48 * 4);
  const auto rgbSize = static_cast<uint32_t>(rgb.size());
  ASSERT_TRUE(Decode());
  EXPECT_TRUE(m_pDecoder->GetImageRGB32(rgb.data(), rgbSize));

  TheScript().decode = [](scripted05::Decoder& decoder, const QXD05_Input&) {
    decoder.picture.bPresent = 0;
    return 1;
  };
  EXPECT_TRUE(Decode());
  EXPECT_FALSE(m_Picture.bHasImage);
  EXPECT_TRUE(Decode());
  EXPECT_EQ(NoPictureCount(), 2u);
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(rgb.data(), rgbSize));

  TheScript().decode = nullptr;
  EXPECT_TRUE(Decode());
  EXPECT_EQ(NoPictureCount(), 0u);
  EXPECT_TRUE(m_pDecoder->GetImageRGB32(rgb.data(), rgbSize));
}

TEST_P(Decoder05Test, ARefusedFrameFailsQuietlyAndKeepsTheLastPicture) {
  ASSERT_TRUE(Decode());
  TestSeam seam;
  for (const int32_t result : {0, -1}) {
    TheScript().decode = [result](scripted05::Decoder&, const QXD05_Input&) { return result; };
    EXPECT_FALSE(Decode());
    EXPECT_FALSE(m_Picture.bHasImage);
  }
  EXPECT_EQ(TakeLog(seam), "");
  EXPECT_EQ(Opens(), 1);
  std::vector<uint8_t> rgb(64 * 48 * 4);
  EXPECT_TRUE(m_pDecoder->GetImageRGB32(rgb.data(), static_cast<uint32_t>(rgb.size())));
}

TEST_P(Decoder05Test, ACrashWhileDecodingIsLoggedAndTheLibraryReopened) {
  TestSeam seam;
  TheScript().decode = [](scripted05::Decoder&, const QXD05_Input&) {
    scripted05::Crash();
    return 1;
  };
  EXPECT_FALSE(Decode());
  EXPECT_FALSE(m_Picture.bHasImage);
  const std::string log = TakeLog(seam);
  EXPECT_THAT(log, HasSubstr(" error: Decoder.cpp("));
  EXPECT_THAT(log, HasSubstr(Ex() ? "): QXD05_DecodeOneFrameEx crash,decodeid:12\n"
                                  : "): QXD05_DecodeOneFrame crash,decodeid:12\n"));
  EXPECT_EQ(Closes(), 1);
  EXPECT_EQ(Opens(), 2);

  TheScript().decode = nullptr;
  EXPECT_TRUE(Decode());
  EXPECT_TRUE(m_Picture.bHasImage);
  EXPECT_EQ(Strays(), 0);
}

TEST_P(Decoder05Test, ACrashWhileClosingDoesNotStopTheReset) {
  TheScript().decode = [](scripted05::Decoder&, const QXD05_Input&) -> int32_t {
    scripted05::Crash();
    return 1;
  };
  TheScript().close = scripted05::Crash;
  EXPECT_FALSE(Decode());
  EXPECT_EQ(Opens(), 2);
  TheScript().decode = nullptr;
  EXPECT_TRUE(Decode());
  m_pDecoder.reset();  // a crash here must not reach the host either
  EXPECT_EQ(Closes(), 2);
}

TEST_P(Decoder05Test, ADecoderThatCannotBeReopenedRefusesFrames) {
  TheScript().decode = [](scripted05::Decoder&, const QXD05_Input&) -> int32_t {
    scripted05::Crash();
    return 1;
  };
  TheScript().open = [] { return false; };
  EXPECT_FALSE(Decode());
  EXPECT_FALSE(Decode());
  EXPECT_EQ(Decodes(), 1);
  uint8_t pixel[4];
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(pixel, sizeof pixel));
  m_pDecoder.reset();
  EXPECT_EQ(Closes(), 1);
}

TEST_P(Decoder05Test, TheFactoryAnswersNullWhenTheLibraryRefusesOrCrashes) {
  TheScript().open = [] { return false; };
  EXPECT_EQ(Create(), nullptr);
  TheScript().open = [] {
    scripted05::Crash();
    return true;
  };
  EXPECT_EQ(Create(), nullptr);
  EXPECT_EQ(Closes(), 0);
}

// A library that claims a picture of 2^32 bytes and more: no memory for it, and nothing of it is read.
TEST_P(Decoder05Test, APictureThatFindsNoMemoryHasNullPlanes) {
  TestSeam seam;
  TheScript().decode = [](scripted05::Decoder& decoder, const QXD05_Input&) {
    decoder.picture = {64, 0x80000000, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, nullptr, nullptr, nullptr, 1};
    return 1;
  };
  EXPECT_TRUE(Decode());
  EXPECT_TRUE(m_Picture.bHasImage);
  for (const uint8_t* plane : m_Picture.pPlane)
    EXPECT_EQ(plane, nullptr);
  const std::string name = Ex() ? "H265Decoder" : "H264Decoder";
  const std::string log = TakeLog(seam);
  EXPECT_THAT(log, HasSubstr("decodeid:12 " + name + "::DecodeFrameVideo \xBB\xBA\xB4\xE6\xB4\xF3\xD0\xA1:"));
  EXPECT_THAT(log, HasSubstr(" realloc\xCA\xA7\xB0\xDC error:"));

  EXPECT_TRUE(Decode());
  EXPECT_EQ(TakeLog(seam), "");  // the same size again is not tried again
  TheScript().decode = nullptr;
  EXPECT_TRUE(Decode());
  EXPECT_NE(m_Picture.pPlane[0], nullptr);
}

TEST_P(Decoder05Test, SnapshotIsTheLastPictureBottomUp) {
  TheScript().decode = [](scripted05::Decoder& decoder, const QXD05_Input&) {
    MakePicture(decoder, 16, 6, 32, 16, 128);
    std::memset(decoder.memory.data(), 235, 32);  // first row white
    return 1;
  };
  ASSERT_TRUE(Decode());
  std::vector<uint8_t> expected(16 * 6 * 4), rgb(expected.size() + 1, 0xEE);
  PlanarToRGB32(expected.data(), 64, m_Picture.pPlane[0], m_Picture.pPlane[1], m_Picture.pPlane[2], 32, 16,
                16, 6, true);
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(rgb.data(), static_cast<uint32_t>(expected.size()) - 1));
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(nullptr, static_cast<uint32_t>(expected.size())));
  EXPECT_EQ(rgb[0], 0xEE);
  ASSERT_TRUE(m_pDecoder->GetImageRGB32(rgb.data(), static_cast<uint32_t>(expected.size())));
  EXPECT_EQ(std::memcmp(rgb.data(), expected.data(), expected.size()), 0);
  EXPECT_EQ(rgb.back(), 0xEE);
}

INSTANTIATE_TEST_SUITE_P(Codecs, Decoder05Test, testing::Values(kCodecH264, kCodecH265),
                         [](const auto& codec) { return codec.param == kCodecH264 ? "H264" : "H265"; });

TEST(DecoderFactory, PicksTheClassByCodec) {
  scripted05::Reset();
  const auto h264 = Decoder::CreateVideoDecoder(2, 64, 48, 40);
  const auto h265 = Decoder::CreateVideoDecoder(3, 64, 48, 40);
  const auto pcm = Decoder::CreateAudioDecoder(0x81, 8192, 1, 8000);
  ASSERT_TRUE(h264 && h265 && pcm);
  EXPECT_EQ(h264->GetDecoderType(), 2u);
  EXPECT_EQ(h264->GetDelay(), 0u);
  EXPECT_EQ(h265->GetDecoderType(), 3u);
  EXPECT_EQ(h265->GetDelay(), 160u);
  EXPECT_EQ(pcm->GetDecoderType(), 129u);
  EXPECT_EQ(pcm->GetDelay(), 0u);
  for (const uint32_t unknown : {0u, 4u, 128u, 134u, 0xFFFFFFFFu}) {
    EXPECT_EQ(Decoder::CreateVideoDecoder(unknown, 64, 48, 40), nullptr) << unknown;
    EXPECT_EQ(Decoder::CreateAudioDecoder(unknown, 8192, 1, 8000), nullptr) << unknown;
  }
}

TEST(DecoderFactory, InitSDKAnswersWhatTheLibraryDoes) {
  scripted05::Reset();
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
    ASSERT_NE(decoder, nullptr);
    std::vector<uint8_t> frame(capacity + 1);
    for (size_t i = 0; i < frame.size(); ++i)
      frame[i] = static_cast<uint8_t>(i * 7);

    DecodedSound sound;
    EXPECT_FALSE(decoder->DecodeFrameAudio(sound, frame.data(), capacity + 1, 0));
    EXPECT_FALSE(decoder->DecodeFrameAudio(sound, nullptr, 4, 0));
    EXPECT_EQ(sound.pData, nullptr);
    ASSERT_TRUE(decoder->DecodeFrameAudio(sound, frame.data(), capacity, 0));
    ASSERT_EQ(sound.dwSize, capacity);
    EXPECT_NE(sound.pData, frame.data());
    EXPECT_EQ(std::memcmp(sound.pData, frame.data(), capacity), 0);
  }
}

TEST(PCMDecoder, HasNoPictures) {
  const auto decoder = Decoder::CreateAudioDecoder(kCodecPcm, 1024, 1, 8000);
  DecodedPicture picture;
  uint8_t pixel[4] = {};
  EXPECT_FALSE(decoder->DecodeFrameVideo(picture, pixel, sizeof pixel, 0));
  EXPECT_FALSE(decoder->GetImageRGB32(pixel, sizeof pixel));
}

}  // namespace
