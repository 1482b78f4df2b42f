// The MP4 reader over a scripted library: what it hands out, in which order.
#include "file/MP4FileStream.h"

#include <gtest/gtest.h>

#include <limits>

#include "decode/Decoder.h"
#include "src/kitc/Log.h"
#include "tests/support/ScriptedMp4.h"

namespace {

using scripted_mp4::Frame;
using scripted_mp4::Script;
using scripted_mp4::TheScript;

class Mp4ReaderTest : public testing::TestWithParam<bool> {
 protected:
  Mp4ReaderTest() {
    kitc_log_config(kLogNone, nullptr, kLogNone);
    TheScript() = Script();
    TheScript().bUnpacking = GetParam();
    // 100 ms a picture, key frames 2 and 6; sound every 50 ms, for as long.
    for (int64_t i = 0; i < 8; ++i)
      TheScript().video.push_back({.llTime = 100 * i, .bKeyFrame = i == 1 || i == 5});
    for (int64_t i = 0; i < 16; ++i)
      TheScript().audio.push_back({.llTime = 50 * i});
  }
  ~Mp4ReaderTest() override {
    m_pReader.reset();
    EXPECT_EQ(TheScript().nOpen, 0);
  }

  bool Open() {
    m_pReader = MediaFileStream::OpenFile("dir/a.Mp4");
    return m_pReader != nullptr;
  }
  // The next frames, such as "A3 K2 V3 !6": sound 3, key frame 2, frame 3, frame 6 not to be shown; "-" for
  // none.
  std::string Next(int count, uint32_t capacity = 100) {
    std::string text;
    for (; count > 0; --count) {
      uint8_t buffer[100];
      FrameRecord frame;
      frame.llTimeStamp = 5;
      if (!text.empty()) text += ' ';
      if (!m_pReader->ReadFrame({buffer, capacity}, frame)) return text + "-";
      EXPECT_EQ(frame.llTimeStamp, 5);
      const bool isVideo = frame.pFrame[0] == QP_TRACK_VIDEO;
      EXPECT_EQ(frame.ftFrameType, isVideo ? QFT_Video : QFT_Audio);
      text += !frame.bDisplay ? '!' : !isVideo ? 'A' : frame.bKeyFrame ? 'K' : 'V';
      text += std::to_string(frame.pFrame[1]);
    }
    return text;
  }

  std::shared_ptr<MediaFileStream> m_pReader;
};
INSTANTIATE_TEST_SUITE_P(Modes, Mp4ReaderTest, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Unpacking" : "Index"; });

TEST_P(Mp4ReaderTest, DescribesTheFile) {
  TheScript().audioInfo.nChannels = 2;
  TheScript().audioInfo.nSampleRate = 44100;
  struct Row {
    const char *video, *audio;
    double dRate;
    uint32_t nVideoCodec, nAudioCodec, nRateNum;
  };
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (const Row& row : {Row{"avc1", "mp4a", 29.97, kCodecH264, kCodecAac, 29970},
                         Row{"hvc1", "samr", 25, kCodecH265, kCodecAmr, 25000},
                         Row{"hev1", "alaw", 0.0001, kCodecH265, kCodecAlaw, 25000},
                         Row{"avc1", "ulaw", -1, kCodecH264, kCodecMulaw, 25000},
                         Row{"avc1", "mp4a", kInfinity, kCodecH264, kCodecAac, 25000},
                         Row{"avc1", "mp4a", kInfinity - kInfinity, kCodecH264, kCodecAac, 25000},
                         Row{"avc1", "mp4a", 1e9, kCodecH264, kCodecAac, 25000}}) {
    TheScript().videoCode = row.video;
    TheScript().audioCode = row.audio;
    TheScript().dFrameRate = row.dRate;
    ASSERT_TRUE(Open()) << row.video;
    const MediaInfo& info = m_pReader->Info();
    EXPECT_EQ(info.nVideoCodecID, row.nVideoCodec);
    EXPECT_EQ(info.nAudioCodecID, row.nAudioCodec);
    EXPECT_EQ(info.nFrameRateNum, row.nRateNum);
    EXPECT_EQ(info.nFrameRateDen, 1000u);
    const bool aac = row.nAudioCodec == kCodecAac;
    EXPECT_EQ(info.nAudioChannels, aac ? 2u : 1u);
    EXPECT_EQ(info.nAudioSampleRate, aac ? 44100u : 8000u);
    EXPECT_EQ(std::tuple(info.nTotalFrames, info.nAudioFrames, info.nWidth, info.nHeight, info.nAudioBits),
              std::tuple(8u, 16u, 640u, 480u, 16u));
  }
  if (!GetParam()) {
    EXPECT_EQ(TheScript().indexName, "dir/a.qdx");
  }
  uint8_t header[33] = {9, 9};
  header[32] = 9;
  EXPECT_TRUE(m_pReader->GetHeader(header, 32));
  EXPECT_EQ(header[1], 0);
  EXPECT_EQ(header[32], 9);
}

TEST_P(Mp4ReaderTest, RefusesAndLeavesNothingOpen) {
  const Script good = TheScript();
  const std::vector<std::function<void(Script&)>> faults = {[](Script& script) { script.bUsable = false; },
                                                            [](Script& script) { script.bOpens = false; },
                                                            [](Script& script) { script.video.clear(); },
                                                            [](Script& script) { script.videoCode = "mp4v"; },
                                                            [](Script& script) { script.videoCode = "avc1xxxx"; },
                                                            [](Script& script) { script.audioCode = "sowt"; }};
  for (const auto& fault : faults) {
    TheScript() = good;
    fault(TheScript());
    EXPECT_FALSE(Open());
    EXPECT_EQ(TheScript().nOpen, 0);
  }
  TheScript() = good;
  EXPECT_EQ(MP4FileStream().Open((std::string(256, 'x') + ".mp4").c_str()), GetParam());
  EXPECT_EQ(MP4FileStream().Open("ab"), GetParam());
}

// Sound runs ahead by the offset; the file begins at its first key frame. In index mode the end of the sound
// ends the file.
TEST_P(Mp4ReaderTest, Interleaves) {
  struct Row {
    int32_t nOffset;
    std::string frames;
  };
  const std::string end = GetParam() ? " V7 V8 -" : " V7 -";
  for (const Row& row : {Row{0, "A3 A4 K2 V3 A5 A6 V4 A7 A8 V5 A9 A10 K6 A11 A12 V7 A13 A14 V8 A15 A16 -"},
                         Row{200, "A3 A4 A5 A6 A7 A8 K2 V3 A9 A10 V4 A11 A12 V5 A13 A14 K6 A15 A16" + end},
                         Row{-60, "K2 V3 A3 A4 V4 A5 A6 V5 A7 A8 K6 A9 A10 V7 A11 A12 V8 A13 A14 -"}}) {
    ASSERT_TRUE(Open());
    EXPECT_EQ(m_pReader->GetCurFrameNum(), 0u);
    m_pReader->SetAVOffset(row.nOffset);
    EXPECT_EQ(Next(100), row.frames) << row.nOffset;
  }
  TheScript().audio.clear();
  ASSERT_TRUE(Open());
  EXPECT_EQ(Next(100), "K2 V3 V4 V5 K6 V7 V8 -");
}

TEST_P(Mp4ReaderTest, Seeks) {
  uint32_t position = 0, number = 0;
  ASSERT_TRUE(Open());
  EXPECT_EQ(Next(4), "A3 A4 K2 V3");
  TheScript().nKeyFrame = 6;
  m_pReader->GotoKeyFrame(3);
  m_pReader->GotoKeyFrame(7);
  EXPECT_EQ(Next(3), "A11 A12 K6");
  EXPECT_EQ(m_pReader->GetCurFrameNum(), 6u);
  // The key frame is decoded first, then reading and its sound go on at the continue number.
  TheScript().nContinueFrame = 8;
  m_pReader->GotoKeyFrame(8);
  EXPECT_EQ(Next(5), "!6 V8 A15 A16 -");
  EXPECT_TRUE(m_pReader->GetKeyFramePos(position, number));
  EXPECT_EQ(std::tuple(position, number), std::tuple(6u, 6u));
  // A frame to be decoded for one seek is none of the next one's.
  m_pReader->GotoKeyFrame(8);
  TheScript().video[5].bReadable = false;
  EXPECT_EQ(Next(1), "-");
  TheScript().video[5].bReadable = true;
  m_pReader->GotoKeyFrame(kFirstKeyFrame);
  EXPECT_EQ(Next(3), "A3 A4 K2");
}

// A look-up that fails stays asked for; sound that ends before the pictures goes on where it was.
TEST_P(Mp4ReaderTest, SeeksAgainAfterAFailure) {
  TheScript().audio.resize(9);  // to 400 ms
  ASSERT_TRUE(Open());
  EXPECT_EQ(Next(3), "A3 A4 K2");
  for (const auto& [result, key] : {std::pair(0, 6u), {-1, 6u}, {1, 0u}}) {
    TheScript().nLookUp = result;
    TheScript().nKeyFrame = key;
    m_pReader->GotoKeyFrame(7);
    EXPECT_EQ(Next(1), "-");
  }
  TheScript().nLookUp = 1;
  TheScript().nKeyFrame = 6;
  EXPECT_EQ(Next(7), std::string("A5 K6 A6 A7 A8 A9 ") + (GetParam() ? "V7" : "-"));
  TheScript().video[1].bKeyFrame = TheScript().video[5].bKeyFrame = false;
  m_pReader->GotoKeyFrame(kFirstKeyFrame);
  EXPECT_EQ(Next(1), "-");
}

TEST_P(Mp4ReaderTest, FailsCleanly) {
  TheScript().video[2].nSize = 11;
  TheScript().video[3].bReadable = false;
  TheScript().audio[4].nSize = 11;
  ASSERT_TRUE(Open());
  EXPECT_EQ(Next(4, 10), "A3 A4 K2 -");  // frame 3 is skipped
  EXPECT_EQ(Next(1, 10), "-");           // frame 4
  EXPECT_EQ(Next(1, 10), "V5");
  EXPECT_EQ(Next(1, 10), "-");  // sound 5
  EXPECT_EQ(Next(1, 11), "A6");
  m_pReader->Interrupt();
  EXPECT_EQ(Next(1), "-");
}

// Hours of sound are not read for one seek.
TEST_P(Mp4ReaderTest, FindsTheSoundOfASeekQuickly) {
  TheScript().audio.clear();
  for (int64_t i = 0; i < 100000; ++i)
    TheScript().audio.push_back({.llTime = 600 * i / 90000});
  ASSERT_TRUE(Open());
  TheScript().nKeyFrame = 6;
  m_pReader->GotoKeyFrame(6);
  EXPECT_NE(Next(1), "-");
  EXPECT_LT(TheScript().nReads, 50);
}

}  // namespace
