// The older codec's decoder over a scripted library.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "decode/Decoder.h"
#include "qdec04.h"
#include "tests/support/ScriptedCodec05.h"
#include "tests/support/TestSeam.h"
#include "video/PixelConversion.h"

namespace {

constexpr uint32_t kCapacity = 100;

struct Script04 {
  bool bOpens = true;
  bool bCrashInOpen = false;
  std::function<int32_t(QXD04_Context&)> decode;
  QXD04_OpenParameters parameters = {};
  int opens = 0, decodes = 0, closes = 0;
};
Script04 g_script;
// The one decoder of a test.
uint8_t g_input[kCapacity];
QXD04_Context g_context;

}  // namespace

// In this program these take the place of the library's.
int32_t QXD_CALL QXD04_InitSDK(void) {
  return 0;
}

void QXD_CALL QXD04_ReleaseSDK(void) {}

QXD04_Context* QXD_CALL QXD04_DecodeOpen(const QXD04_OpenParameters* pParameters) {
  ++g_script.opens;
  g_script.parameters = *pParameters;
  if (g_script.bCrashInOpen) scripted05::Crash();
  if (!g_script.bOpens) return nullptr;
  g_context = {};
  g_context.dwInputCapacity = kCapacity;
  g_context.pInput = g_input;
  return &g_context;
}

int32_t QXD_CALL QXD04_DecodeOneFrame(QXD04_Context* pContext) {
  ++g_script.decodes;
  return g_script.decode(*pContext);
}

void QXD_CALL QXD04_DecodeClose(QXD04_Context* /*pContext*/) {
  ++g_script.closes;
}

namespace {

std::vector<uint8_t> Frame(uint32_t type, uint32_t length, size_t payload) {
  std::vector<uint8_t> frame = {9, 9, 9, 9};
  for (int shift = 0; shift < 32; shift += 8)
    frame.push_back(static_cast<uint8_t>((0xFF000000u | length << 4 | type) >> shift));
  for (size_t i = 0; i < payload; ++i)
    frame.push_back(static_cast<uint8_t>(i + 1));
  return frame;
}

class QDEC04DecoderTest : public testing::Test {
 protected:
  void SetUp() override {
    g_script = Script04();
    m_pDecoder = Decoder::CreateVideoDecoder(kCodecQdec04, 704, 576, 40);
    ASSERT_NE(m_pDecoder, nullptr);
    g_script.decode = [this](QXD04_Context& context) {
      context.nWidth = 16;
      context.nHeight = 6;
      context.nLumaStride = 32;
      context.nChromaStride = 16;
      context.pLuma = m_Planes.data();
      context.pChroma1 = context.pLuma + 32 * 6;
      context.pChroma2 = context.pChroma1 + 16 * 3;
      return 0;
    };
    for (size_t i = 0; i < m_Planes.size(); ++i)
      m_Planes[i] = static_cast<uint8_t>(i * 3);
  }

  bool Decode(const std::vector<uint8_t>& frame) {
    return m_pDecoder->DecodeFrameVideo(m_Picture, frame.data(), static_cast<uint32_t>(frame.size()), 12);
  }

  std::vector<uint8_t> m_Planes = std::vector<uint8_t>(32 * 6 + 2 * 16 * 3);
  std::shared_ptr<Decoder> m_pDecoder;
  DecodedPicture m_Picture;
};

TEST_F(QDEC04DecoderTest, HandsThePayloadToTheLibraryAndCopiesItsPicture) {
  EXPECT_EQ(m_pDecoder->GetDecoderType(), 1u);
  EXPECT_EQ(m_pDecoder->GetDelay(), 0u);
  EXPECT_EQ(g_script.parameters.nWidth, 704u);
  EXPECT_EQ(g_script.parameters.nHeight, 576u);
  EXPECT_THAT(g_script.parameters.dwReserved, testing::Each(0u));

  ASSERT_TRUE(Decode(Frame(4, kCapacity, kCapacity)));
  EXPECT_EQ(g_context.dwFrameType, 4u);
  EXPECT_EQ(g_context.dwInputLength, kCapacity);
  EXPECT_EQ(g_input[0], 1);
  EXPECT_EQ(g_input[kCapacity - 1], kCapacity);

  EXPECT_TRUE(m_Picture.bHasImage);
  EXPECT_EQ(m_Picture.nPixelFormat, QPF_YV12);
  EXPECT_THAT(m_Picture.nStride, testing::ElementsAre(32, 16, 16, 0));
  EXPECT_THAT(m_Picture.nPlaneSize, testing::ElementsAre(192, 48, 48, 0));
  EXPECT_NE(m_Picture.pPlane[0], m_Planes.data());
  EXPECT_EQ(std::memcmp(m_Picture.pPlane[0], m_Planes.data(), m_Planes.size()), 0);
}

TEST_F(QDEC04DecoderTest, RefusesFramesWithAWrongHeadWithoutDecoding) {
  const std::vector<uint8_t> good = Frame(0, 10, 10);
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, nullptr, 100, 1));
  for (uint32_t size = 0; size < good.size(); ++size) {
    m_Picture.bHasImage = true;
    const std::vector<uint8_t> cut(good.begin(), good.begin() + size);
    EXPECT_FALSE(Decode(cut)) << size;
    EXPECT_FALSE(m_Picture.bHasImage);
  }
  EXPECT_FALSE(Decode(Frame(5, 10, 10)));
  EXPECT_FALSE(Decode(Frame(15, 10, 10)));
  EXPECT_FALSE(Decode(Frame(0, 0, 10)));
  EXPECT_FALSE(Decode(Frame(0, kCapacity + 1, kCapacity + 1)));
  EXPECT_FALSE(Decode(Frame(0, 0xFFFFF, 10)));
  EXPECT_EQ(g_script.decodes, 0);
  EXPECT_TRUE(Decode(good));
}

TEST_F(QDEC04DecoderTest, AFrameWithoutPictureSucceedsWithoutImage) {
  g_script.decode = [](QXD04_Context&) { return 1; };
  EXPECT_TRUE(Decode(Frame(1, 10, 10)));
  EXPECT_FALSE(m_Picture.bHasImage);
}

TEST_F(QDEC04DecoderTest, ACrashIsLoggedAndTheDecoderKept) {
  const auto works = g_script.decode;
  g_script.decode = [](QXD04_Context&) {
    scripted05::Crash();
    return 0;
  };
  TestSeam seam;
  EXPECT_FALSE(Decode(Frame(1, 10, 10)));
  EXPECT_FALSE(m_Picture.bHasImage);
  std::string log;
  for (const std::string& line : seam.TakeText())
    log += line;
  EXPECT_THAT(log, testing::HasSubstr("): QXD04_DecodeOneFrame crash,decodeid:12\n"));

  g_script.decode = works;
  EXPECT_TRUE(Decode(Frame(1, 10, 10)));
  EXPECT_TRUE(m_Picture.bHasImage);
  EXPECT_EQ(g_script.opens, 1);
  m_pDecoder.reset();
  EXPECT_EQ(g_script.closes, 1);
}

TEST_F(QDEC04DecoderTest, TheFactoryAnswersNullWhenTheLibraryRefusesOrCrashes) {
  g_script.bOpens = false;
  EXPECT_EQ(Decoder::CreateVideoDecoder(kCodecQdec04, 704, 576, 40), nullptr);
  g_script.bCrashInOpen = true;
  EXPECT_EQ(Decoder::CreateVideoDecoder(kCodecQdec04, 704, 576, 40), nullptr);
  EXPECT_EQ(g_script.closes, 0);
}

TEST_F(QDEC04DecoderTest, SnapshotShowsWhatThePictureShows) {
  std::vector<uint8_t> rgb(16 * 6 * 4), expected(rgb.size());
  const auto size = static_cast<uint32_t>(rgb.size());
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(rgb.data(), size));  // no picture yet
  ASSERT_TRUE(Decode(Frame(1, 10, 10)));
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(rgb.data(), size - 1));
  EXPECT_FALSE(m_pDecoder->GetImageRGB32(nullptr, size));
  ASSERT_TRUE(m_pDecoder->GetImageRGB32(rgb.data(), size));
  PlanarToRGB32(expected.data(), 64, m_Picture.pPlane[0], m_Picture.pPlane[1], m_Picture.pPlane[2], 32, 16,
                16, 6, true);
  EXPECT_EQ(rgb, expected);
}

}  // namespace
