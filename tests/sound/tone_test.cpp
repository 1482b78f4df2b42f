// A tone goes in as each codec and file carries it, through the whole library and ALSA, and what comes out of
// ALSA's file PCM is measured: frequency, level, gaps.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

#include "include/qxsdkp.h"
#include "tests/platform/FaultyCard.h"
#include "tests/support/ManualClock.h"
#include "tests/support/TempDir.h"

namespace {

constexpr uint32_t kCardRate = 48000;  // stereo, 16 bits
constexpr double kFullScale = 32768;

std::string ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

struct Source {
  const char* name;
  uint16_t codec;
  uint16_t rate;
  uint16_t bits;
  uint32_t frameBytes;  // 0: ADTS headers tell; of files nothing of this counts
  double frameMs;
  double toleranceDb = 1;
};
// libavcodec's decoder gives a pure tone 1 to 2.5 dB too quiet; speech comes out right.
const Source kSources[] = {{"tone.al", QXSP_AUDIO_ALAW, 8000, 16, 160, 20},
                           {"tone.ul", QXSP_AUDIO_MULAW, 8000, 16, 160, 20},
                           {"tone.s16", QXSP_AUDIO_PCM, 8000, 16, 640, 40},
                           {"tone.u8", QXSP_AUDIO_PCM, 8000, 8, 320, 40},
                           {"tone.aac", QXSP_AUDIO_AAC, 16000, 16, 0, 64},
                           {"tone.amr", QXSP_AUDIO_AMR, 8000, 16, 32, 20, 3.5},
                           {"tone.mp4", 0, 0, 0, 0, 0},
                           {"tone.sv5", 0, 0, 0, 0, 0}};

// The frames of a clip, as cameras send them.
std::vector<std::string> Frames(const Source& source) {
  std::string clip = ReadFile(std::string(QX_CLIPS) + source.name);
  if (clip.starts_with("#!AMR\n")) clip.erase(0, 6);
  std::vector<std::string> frames;
  for (size_t at = 0; at < clip.size();) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(clip[at + i]); };
    const bool adts = source.frameBytes == 0;
    const size_t bytes = adts ? (byte(3) & 3u) << 11 | byte(4) << 3 | byte(5) >> 5 : source.frameBytes;
    frames.push_back(adts ? clip.substr(at + 7, bytes - 7) : clip.substr(at, bytes));
    at += bytes;
  }
  return frames;
}

// Also tells when a third thread has started: after a player's two, that of the playing device.
class Clock : public ManualClock {
 public:
  bool StartThreads() override { return ++m_nThreads > 0; }
  bool IsDevicePlaying() const { return m_nThreads > 2; }

 private:
  std::atomic<int> m_nThreads{0};
};

class Tone : public testing::TestWithParam<Source> {
 protected:
  Tone() {
    m_pCard = UseFaultyCard(
        FAULTY_CARD, m_Dir / "asound.conf",
        "pcm.recorder { type file slave.pcm faulty format raw file \"" + (m_Dir / "heard") + "\" }\n");
    setenv("QXSDKP_SOUND", "alsa:recorder", 1);
    setenv("QXSDKP_DISPLAY", "headless", 1);
    m_pCard->llGiven = m_pCard->llPlayed = 0;  // of an earlier test
    EXPECT_EQ(QXSP_InitSDK(), 1);
    m_nPlayer = static_cast<uint32_t>(QXSP_CreatePlayer());
  }
  ~Tone() override {
    m_Clock.Release();
    QXSP_ReleasePlayer(m_nPlayer);
    QXSP_ReleaseSDK();
  }

  void OpenStream(const Source& source) {
    QXSP_FILE_HEADER header = {};
    std::memcpy(header.szMarker, "QFH", 3);
    header.wVideoCodecID = QXSP_VIDEO_H264;
    header.wVideoDataType = QXSP_DATA_VIDEO_AND_AUDIO;
    header.wVideoWidth = 64;
    header.wVideoHeight = 48;
    header.wFrameRateNum = 25;
    header.wFrameRateDen = 1;
    header.wAudioCodecID = source.codec;
    header.wAudioSampleRate = source.rate;
    header.wAudioChannels = 1;
    header.wAudioBits = source.bits;
    ASSERT_EQ(QXSP_OpenStream(m_nPlayer, &header, sizeof header), 1);
    Push(ReadFile(QX_CLIPS "key.h264"));
  }
  void Push(const std::string& frame) {
    const auto now = static_cast<uint32_t>(m_Clock.NowMs());
    const auto size = static_cast<uint32_t>(frame.size());
    ASSERT_EQ(QXSP_WriteToStreamOneFrame2(m_nPlayer, frame.data(), size, now, 0), QXSP_WRITE_QUEUED);
  }
  // Lets time pass, and the card play with it; never further than it was given sound.
  void Listen(uint32_t ms) {
    ASSERT_TRUE(m_Clock.Step(ms, 2));  // with the play threads' passes
    if (!m_Clock.IsDevicePlaying()) return;
    std::unique_lock lock(m_pCard->mutex);
    if (m_bPlaying) m_pCard->llPlayed += ms * kCardRate / 1000;
    m_bPlaying = true;
    // It holds 60 ms; ALSA's rate plugin hands on whole periods of 15 ms.
    const uint64_t wanted = m_pCard->llPlayed + 30 * kCardRate / 1000;
    ASSERT_TRUE(m_pCard->moved.wait_for(lock, std::chrono::seconds(30), [&] {
      return m_pCard->llGiven >= wanted;
    })) << "the sound stopped";
  }

  TempDir m_Dir;
  Clock m_Clock;
  FaultyCard* m_pCard = nullptr;
  bool m_bPlaying = false;
  uint32_t m_nPlayer = 0;
};

void ExpectTone(const std::vector<double>& sound, double toleranceDb) {
  std::vector<double> rises;  // where the signal crosses zero
  size_t quiet = 0;
  for (size_t i = 1; i < sound.size(); ++i) {
    if (sound[i - 1] < 0 && sound[i] >= 0)
      rises.push_back(static_cast<double>(i) - sound[i] / (sound[i] - sound[i - 1]));
    quiet = std::abs(sound[i]) < 0.05 * kFullScale ? quiet + 1 : 0;
    ASSERT_LE(quiet, 3u) << "a gap at " << i;  // as long as the tone takes to cross zero
  }
  ASSERT_GT(rises.size(), 100u);
  const double hertz = static_cast<double>(rises.size() - 1) / (rises.back() - rises.front()) * kCardRate;
  EXPECT_NEAR(hertz, 1000, 5);
  // Any click or repeat shows in its 5 ms.
  for (auto part = sound.begin(); sound.end() - part >= 240; part += 240) {
    const double power = std::inner_product(part, part + 240, part, 0.0) / 240;
    ASSERT_NEAR(10 * std::log10(power / (0.125 * kFullScale * kFullScale)), 0, toleranceDb)
        << "from " << part - sound.begin();
  }
}

TEST_P(Tone, IsHeardAsItWentIn) {
  const Source& source = GetParam();
  const bool isFile = source.codec == 0 && source.rate == 0;
  if (isFile) {
    ASSERT_EQ(QXSP_OpenFile(m_nPlayer, (QX_CLIPS + std::string(source.name)).c_str()), 1);
  } else {
    OpenStream(source);
  }
  // What a file's first pass reads is heard or not, as the host is quick or slow: here it is not.
  ASSERT_TRUE(m_Clock.WaitForSleepers(2));
  ASSERT_EQ(QXSP_SetAudioPreview(m_nPlayer, this, 1), 1);
  ASSERT_TRUE(m_Clock.WaitForSleepers(2));
  const std::vector<std::string> frames = isFile ? std::vector<std::string>() : Frames(source);
  const uint64_t start = m_Clock.NowMs();
  size_t pushed = 0;
  for (uint64_t ms = 0; ms < 1600; ms = m_Clock.NowMs() - start) {
    for (; pushed < frames.size() && static_cast<double>(pushed) * source.frameMs <= ms; ++pushed)
      Push(frames[pushed]);
    ASSERT_NO_FATAL_FAILURE(Listen(20));
  }
  const std::string heard = ReadFile(m_Dir / "heard");
  const size_t pairs = heard.size() / 4;
  ASSERT_GT(pairs, kCardRate) << "less than a second was heard";
  for (const size_t channel : {0u, 1u}) {
    std::vector<double> sound;
    for (size_t i = kCardRate / 5; i < pairs; ++i) {  // from behind what an encoder needs to set in
      int16_t sample;
      std::memcpy(&sample, &heard[i * 4 + channel * 2], 2);
      sound.push_back(sample);
    }
    ExpectTone(sound, source.toleranceDb);
  }
}

INSTANTIATE_TEST_SUITE_P(Sources, Tone, testing::ValuesIn(kSources), [](const auto& source) {
  std::string name = source.param.name;
  return name.erase(0, name.find('.') + 1);
});

}  // namespace
