// The older codec's decoder over a scripted library. Snapshots of it are taken in
// tests/api/pictures_test.cpp.
#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "decode/Decoder.h"
#include "qdec04.h"
#include "tests/support/LogLines.h"
#include "tests/support/ScriptedCodec05.h"

namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

constexpr uint32_t kCapacity = 100;
constexpr uint32_t kWidth = 16, kHeight = 6;

std::function<bool()> g_Open;
std::function<int32_t(QXD04_Context&)> g_Decode;
int g_nDecodes, g_nCloses;
// The one decoder of a test.
uint8_t g_Input[kCapacity];
QXD04_Context g_Context;

}  // namespace

// In this program these take the place of the library's.
int32_t QXD_CALL QXD04_InitSDK(void) {
  return 0;
}
void QXD_CALL QXD04_ReleaseSDK(void) {}
QXD04_Context* QXD_CALL QXD04_DecodeOpen(const QXD04_OpenParameters* pParameters) {
  g_Context = {};
  g_Context.nWidth = pParameters->nWidth;
  g_Context.nHeight = pParameters->nHeight;
  g_Context.dwInputCapacity = kCapacity;
  g_Context.pInput = g_Input;
  return g_Open() ? &g_Context : nullptr;
}
int32_t QXD_CALL QXD04_DecodeOneFrame(QXD04_Context* pContext) {
  ++g_nDecodes;
  return g_Decode(*pContext);
}
void QXD_CALL QXD04_DecodeClose(QXD04_Context* /*pContext*/) {
  ++g_nCloses;
}

namespace {

std::vector<uint8_t> Frame(uint32_t type, uint32_t length, size_t payload) {
  const uint32_t word = 0xFF000000u | length << 4 | type;
  std::vector<uint8_t> frame = {9, 9, 9, 9};
  for (int shift = 0; shift < 32; shift += 8)
    frame.push_back(static_cast<uint8_t>(word >> shift));
  frame.resize(8 + payload);
  std::iota(frame.begin() + 8, frame.end(), static_cast<uint8_t>(1));
  return frame;
}

class QDEC04DecoderTest : public testing::Test {
 protected:
  QDEC04DecoderTest() {
    std::iota(m_Planes.begin(), m_Planes.end(), static_cast<uint8_t>(0));
    g_nDecodes = g_nCloses = 0;
    g_Open = [] { return true; };
    g_Decode = [this](QXD04_Context& context) {
      context.nWidth = kWidth;
      context.nHeight = kHeight;
      context.nLumaStride = 32;
      context.nChromaStride = 16;
      context.pLuma = m_Planes.data();
      context.pChroma1 = context.pLuma + 32 * kHeight;
      context.pChroma2 = context.pChroma1 + 16 * kHeight / 2;
      return 0;
    };
    m_pDecoder = Create();
  }
  static std::shared_ptr<Decoder> Create() { return Decoder::CreateVideoDecoder(kCodecQdec04, 704, 576, 40); }
  bool Decode(const std::vector<uint8_t>& frame) {
    m_Picture.bHasImage = true;
    return m_pDecoder->DecodeFrameVideo(m_Picture, frame.data(), static_cast<uint32_t>(frame.size()), 12);
  }
  bool Snapshot() {
    uint8_t rgb[kWidth * kHeight * 4];
    return m_pDecoder->GetImageRGB32(rgb, sizeof rgb);
  }

  TestSeam m_Seam;
  std::vector<uint8_t> m_Planes = std::vector<uint8_t>(32 * kHeight * 3 / 2);
  std::shared_ptr<Decoder> m_pDecoder;
  DecodedPicture m_Picture;
};

TEST_F(QDEC04DecoderTest, HandsThePayloadToTheLibraryAndCopiesItsPicture) {
  EXPECT_EQ(std::tuple(m_pDecoder->GetDecoderType(), g_Context.nWidth, g_Context.nHeight),
            std::tuple(1u, 704u, 576u));
  EXPECT_FALSE(Snapshot());  // no picture yet
  ASSERT_TRUE(Decode(Frame(4, kCapacity, kCapacity)));
  EXPECT_EQ(std::tuple(g_Context.dwFrameType, g_Context.dwInputLength), std::tuple(4u, kCapacity));
  EXPECT_EQ(std::tuple(g_Input[0], g_Input[kCapacity - 1]), std::tuple(1, kCapacity));
  EXPECT_TRUE(m_Picture.bHasImage);
  EXPECT_THAT(m_Picture.nStride, ElementsAre(32, 16, 16, 0));
  EXPECT_THAT(m_Picture.nPlaneSize, ElementsAre(192, 48, 48, 0));
  ASSERT_NE(m_Picture.pPlane[0], m_Planes.data());
  EXPECT_EQ(std::memcmp(m_Picture.pPlane[0], m_Planes.data(), m_Planes.size()), 0);
  g_Decode = [](QXD04_Context&) { return 1; };
  EXPECT_TRUE(Decode(Frame(1, 10, 10)));
  EXPECT_FALSE(m_Picture.bHasImage);
}

TEST_F(QDEC04DecoderTest, RefusesFramesWithAWrongHeadWithoutDecoding) {
  const std::vector<uint8_t> good = Frame(0, 10, 10);
  std::vector<std::vector<uint8_t>> wrong = {Frame(5, 10, 10), Frame(15, 10, 10), Frame(0, 0, 10),
                                             Frame(0, kCapacity + 1, kCapacity + 1), Frame(0, 0xFFFFF, 10)};
  for (size_t size = 0; size < good.size(); ++size)
    wrong.emplace_back(good.begin(), good.begin() + static_cast<ptrdiff_t>(size));
  for (const std::vector<uint8_t>& frame : wrong) {
    EXPECT_FALSE(Decode(frame)) << testing::PrintToString(frame);
    EXPECT_FALSE(m_Picture.bHasImage);
  }
  EXPECT_FALSE(m_pDecoder->DecodeFrameVideo(m_Picture, nullptr, 100, 1));
  EXPECT_EQ(g_nDecodes, 0);
  EXPECT_TRUE(Decode(good));
}

TEST_F(QDEC04DecoderTest, FaultsAreLoggedAndTheDecoderKept) {
  const auto works = g_Decode;
  g_Decode = [&works](QXD04_Context& context) {
    works(context);
    scripted05::Crash();
    return 0;
  };
  EXPECT_FALSE(Decode(Frame(1, 10, 10)));
  EXPECT_FALSE(m_Picture.bHasImage);
  EXPECT_FALSE(Snapshot());
  g_Decode = [](QXD04_Context& context) {  // a picture that no memory can hold
    context.nHeight = context.nLumaStride = context.nChromaStride = 0xFFFFFFFF;
    return 0;
  };
  EXPECT_TRUE(Decode(Frame(1, 10, 10)));
  EXPECT_THAT(m_Picture.pPlane, testing::Each(nullptr));
  const std::string source = "error: Decoder\\.cpp\\([0-9]+\\): ";
  EXPECT_THAT(TakeLogLines(m_Seam),
              ElementsAre(MatchesRegex(source + "QXD04_DecodeOneFrame crash,decodeid:12\n"),
                          MatchesRegex(source + "decodeid:12 QDEC04Decoder::DecodeFrameVideo "
                                                "\xBB\xBA\xB4\xE6\xB4\xF3\xD0\xA1:-?[0-9]+ "
                                                "realloc\xCA\xA7\xB0\xDC errot:[0-9]+\n")));
  g_Decode = works;
  EXPECT_TRUE(Decode(Frame(1, 10, 10)));
  EXPECT_NE(m_Picture.pPlane[0], nullptr);
  m_pDecoder.reset();
  EXPECT_EQ(g_nCloses, 1);

  g_Open = [] { return false; };
  EXPECT_EQ(Create(), nullptr);
  g_Open = [] { return scripted05::Crash(), true; };
  EXPECT_EQ(Create(), nullptr);
  EXPECT_EQ(g_nCloses, 1);
}

}  // namespace
