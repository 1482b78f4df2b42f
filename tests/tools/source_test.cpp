// Access units of real files, and what is said of those that cannot be played.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/tools/RtspCamera.h"
#include "tools/qxplay/AccessUnitSource.h"

namespace {

using testing::Each;
using testing::EndsWith;
using testing::Ge;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kFrames = 25;  // of every clip, 40 ms each, a key frame every 10

std::string Clip(const std::string& name) {
  return QX_CLIPS "/" + name;
}

AccessUnitSource SourceOf(const std::string& file, std::optional<FrameRate> frameRate = {}) {
  return AccessUnitSource(file, 2, frameRate, [] { return false; });
}

bool OpensAsKeyFrame(VideoCodec codec, std::span<const uint8_t> bytes) {
  const int type = codec == VideoCodec::kH264 ? bytes[4] & 0x1F : bytes[4] >> 1 & 0x3F;
  return codec == VideoCodec::kH264 ? type == 7 : type == 32 || type == 33;
}

// Reads to the end and checks what live input needs of every access unit.
std::vector<int64_t> ReadAll(AccessUnitSource& source) {
  std::vector<int64_t> times;
  while (const auto unit = source.Next()) {
    const bool wellFormed =
        unit->bytes.size() > 5 && std::ranges::equal(unit->bytes.first(4), std::vector{0, 0, 0, 1});
    EXPECT_TRUE(wellFormed);
    const bool expectKey = times.size() % kFrames % 10 == 0;
    EXPECT_EQ(unit->key, expectKey) << times.size();
    EXPECT_EQ(wellFormed && OpensAsKeyFrame(source.Info().codec, unit->bytes), expectKey) << times.size();
    times.push_back(unit->timestampMs);
  }
  EXPECT_EQ(source.Error(), "");
  return times;
}

class EveryContainer : public testing::TestWithParam<const char*> {};

TEST_P(EveryContainer, DeliversAccessUnitsAtTheirTimes) {
  AccessUnitSource source = SourceOf(Clip(GetParam()));
  ASSERT_TRUE(source.Open()) << source.Error();
  EXPECT_EQ(source.Info().codec,
            std::string(GetParam()).starts_with("h265") ? VideoCodec::kH265 : VideoCodec::kH264);
  EXPECT_EQ(source.Info().width, 160);
  EXPECT_EQ(source.Info().height, 96);
  EXPECT_EQ(source.Info().frameRate, (FrameRate{25, 1}));
  EXPECT_FALSE(source.Info().paced);
  const std::vector<int64_t> times = ReadAll(source);
  ASSERT_EQ(times.size(), static_cast<size_t>(kFrames));
  for (size_t i = 0; i < times.size(); ++i)
    EXPECT_EQ(times[i], static_cast<int64_t>(i) * 40);
}

INSTANTIATE_TEST_SUITE_P(Clips, EveryContainer,
                         testing::Values("h264.mp4", "h264.mkv", "h264.h264", "delimited.h264",
                                         "reordered.mp4", "h265.mp4", "h265.h265"),
                         [](const auto& test) {
                           std::string name = test.param;
                           std::ranges::replace(name, '.', '_');
                           return name;
                         });

TEST(AccessUnitSource, DeliversSoundThatCannotBeTakenForVideo) {
  const struct {
    const char* clip;
    SoundInfo sound;
    int64_t leastMs;  // of sound
  } cases[] = {{"trap.mkv", {SoundCodec::kPcm, 8000, 1, 16}, 1000},
               {"alaw.mkv", {SoundCodec::kALaw, 8000, 1, 16}, 1000},
               {"camera.mp4", {SoundCodec::kAac, 44100, 1, 16}, 1900},
               {"fast.mkv", {SoundCodec::kPcm, 44100, 1, 16}, 900}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.clip);
    AccessUnitSource source = SourceOf(Clip(one.clip));
    ASSERT_TRUE(source.Open()) << source.Error();
    EXPECT_EQ(source.Info().sound, one.sound);
    int64_t last = 0, video = 0, bytes = 0;
    while (const auto unit = source.Next()) {
      if (!unit->sound) video = unit->timestampMs;
      if (!unit->sound) continue;
      EXPECT_FALSE(std::ranges::equal(unit->bytes.first(4), std::vector{0, 0, 0, 1}));
      EXPECT_LE(unit->bytes.size(), 8192u);
      EXPECT_GE(unit->timestampMs, last);
      EXPECT_NEAR(unit->timestampMs, video, 600);
      last = unit->timestampMs;
      bytes += static_cast<int64_t>(unit->bytes.size());
    }
    const bool pcm = one.sound.codec == SoundCodec::kPcm;
    EXPECT_GE(bytes, pcm ? one.leastMs * one.sound.sampleRate * 2 / 1000 : 1000);
    EXPECT_GE(last, one.leastMs - 150);
  }
  AccessUnitSource unknown = SourceOf(Clip("opus.mkv"));
  ASSERT_TRUE(unknown.Open());
  EXPECT_FALSE(unknown.Info().sound);
  EXPECT_THAT(unknown.Info().whyNoSound, HasSubstr("opus"));
}

// Sound could not follow.
TEST(AccessUnitSource, TheUsersFrameRateReplacesTheTimes) {
  AccessUnitSource source = SourceOf(Clip("alaw.mkv"), FrameRate{30000, 1001});
  ASSERT_TRUE(source.Open());
  EXPECT_FALSE(source.Info().sound);
  EXPECT_EQ(ReadAll(source).at(24), 800);
}

TEST(AccessUnitSource, TimeGoesOnWhenItBeginsAgain) {
  AccessUnitSource source = SourceOf(Clip("h264.mp4"));
  ASSERT_TRUE(source.Open());
  ReadAll(source);
  ASSERT_TRUE(source.Restart());
  const std::vector<int64_t> times = ReadAll(source);
  ASSERT_EQ(times.size(), static_cast<size_t>(kFrames));
  EXPECT_EQ(times.front(), kFrames * 40);
  EXPECT_EQ(times.back(), (2 * kFrames - 1) * 40);
}

TEST(AccessUnitSource, SaysWhatCannotBePlayed) {
  const std::string empty = testing::TempDir() + "empty.mp4", noise = testing::TempDir() + "noise.h264";
  std::ofstream(empty).close();
  std::ofstream(noise) << std::string(5000, 'x');
  const struct {
    std::string file;
    const char* words;
  } cases[] = {{Clip("missing.mp4"), "No such file"},
               {empty, "cannot be opened"},
               {noise, ""},
               {Clip("sound.wav"), "has no video"},
               {Clip("other.webm"), "its video is vp8; only H.264 and H.265"},
               {testing::TempDir(), ""}};
  for (const auto& one : cases) {
    AccessUnitSource source = SourceOf(one.file);
    EXPECT_FALSE(source.Open()) << one.file;
    EXPECT_THAT(source.Error(), StartsWith(one.file + ": "));
    EXPECT_THAT(source.Error(), HasSubstr(one.words));
    EXPECT_FALSE(source.Next());
  }
  std::filesystem::remove(empty);
  std::filesystem::remove(noise);
}

// Cut in the middle of a frame: what is whole is delivered.
TEST(AccessUnitSource, ReadsAFileThatBreaksOff) {
  const std::string cut = testing::TempDir() + "cut.h264";
  std::filesystem::copy_file(Clip("h264.h264"), cut, std::filesystem::copy_options::overwrite_existing);
  std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
  AccessUnitSource source = SourceOf(cut);
  ASSERT_TRUE(source.Open()) << source.Error();
  int units = 0;
  while (source.Next())
    ++units;
  EXPECT_GT(units, 5);
  EXPECT_LT(units, kFrames);
  std::filesystem::remove(cut);
}

std::vector<RtspCamera::AccessUnit> UnitsOf(const std::string& file) {
  std::vector<RtspCamera::AccessUnit> units;
  AccessUnitSource source = SourceOf(file);
  EXPECT_TRUE(source.Open());
  while (const auto unit = source.Next())
    units.emplace_back(unit->bytes.begin(), unit->bytes.end());
  return units;
}

TEST(AccessUnitSource, ReadsANetworkCamera) {
  const auto sent = UnitsOf(Clip("h264.mp4"));
  const RtspCamera camera(sent);
  AccessUnitSource source = SourceOf(camera.Address());
  ASSERT_TRUE(source.Open()) << source.Error();
  EXPECT_TRUE(source.Info().paced);
  EXPECT_EQ(source.Info().width, 160);
  EXPECT_EQ(source.Info().height, 96);
  std::vector<RtspCamera::AccessUnit> received;
  int64_t last = -1;
  while (const auto unit = source.Next()) {
    EXPECT_GE(unit->timestampMs, last);
    last = unit->timestampMs;
    received.emplace_back(unit->bytes.begin(), unit->bytes.end());
  }
  EXPECT_EQ(received, sent);
  EXPECT_EQ(last, (kFrames - 1) * 40);
}

TEST(AccessUnitSource, GivesUpOnACameraThatDoesNotAnswer) {
  const RtspCamera server({});
  AccessUnitSource source(server.Address(), 1, {}, [] { return false; });
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(source.Open());
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
  EXPECT_THAT(source.Error(), EndsWith("no answer within 1 s"));
}

TEST(AccessUnitSource, CancellingEndsTheWaitWithoutAComplaint) {
  const RtspCamera server({});
  int asked = 0;
  AccessUnitSource source(server.Address(), 60, {}, [&] { return ++asked > 3; });
  EXPECT_FALSE(source.Open());
  EXPECT_EQ(source.Error(), "");
  EXPECT_GT(asked, 3);
}

}  // namespace
