// Access units of real files and of a camera, and what is said of those that cannot be played.
#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "tests/support/TempDir.h"
#include "tests/tools/RtspCamera.h"
#include "tools/qxplay/AccessUnitSource.h"

namespace {

using testing::HasSubstr;

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

bool OpensWithStartCode(std::span<const uint8_t> bytes) {
  return bytes.size() > 5 && std::ranges::equal(bytes.first(4), std::vector{0, 0, 0, 1});
}

struct Units {
  std::vector<int64_t> timesMs;
  std::vector<uint8_t> bytes;
};

// Reads to the end and checks what live input needs of every access unit.
Units ReadAll(AccessUnitSource& source) {
  Units all;
  while (const auto unit = source.Next()) {
    const bool expectKey = all.timesMs.size() % kFrames % 10 == 0;
    EXPECT_EQ(unit->key, expectKey) << all.timesMs.size();
    EXPECT_TRUE(OpensWithStartCode(unit->bytes) &&
                OpensAsKeyFrame(source.Info().codec, unit->bytes) == expectKey)
        << all.timesMs.size();
    all.timesMs.push_back(unit->timestampMs);
    all.bytes.insert(all.bytes.end(), unit->bytes.begin(), unit->bytes.end());
  }
  EXPECT_EQ(source.Error(), "");
  return all;
}

// Also a second time, when time goes on.
TEST(AccessUnitSource, DeliversAccessUnitsAtTheirTimes) {
  for (const std::string clip :
       {"h264.mp4", "h264.mkv", "h264.h264", "delimited.h264", "reordered.mp4", "h265.mp4", "h265.h265"}) {
    SCOPED_TRACE(clip);
    AccessUnitSource source = SourceOf(Clip(clip));
    ASSERT_TRUE(source.Open()) << source.Error();
    EXPECT_EQ(source.Info().codec, clip.starts_with("h265") ? VideoCodec::kH265 : VideoCodec::kH264);
    EXPECT_EQ(std::tuple(source.Info().width, source.Info().height, source.Info().paced),
              std::tuple(160, 96, false));
    EXPECT_EQ(source.Info().frameRate, (FrameRate{25, 1}));
    for (int64_t first = 0; first <= kFrames; first += kFrames) {
      const std::vector<int64_t> times = ReadAll(source).timesMs;
      ASSERT_EQ(times.size(), static_cast<size_t>(kFrames));
      for (size_t i = 0; i < times.size(); ++i)
        EXPECT_EQ(times[i], (first + static_cast<int64_t>(i)) * 40);
      ASSERT_TRUE(source.Restart());
    }
  }
}

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
      EXPECT_FALSE(OpensWithStartCode(unit->bytes));
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
  // Nor could sound follow another frame rate than the stream's.
  AccessUnitSource rated = SourceOf(Clip("alaw.mkv"), FrameRate{30000, 1001});
  ASSERT_TRUE(rated.Open());
  EXPECT_FALSE(rated.Info().sound);
  EXPECT_EQ(ReadAll(rated).timesMs.at(24), 800);
}

TEST(AccessUnitSource, SaysWhatCannotBePlayedAndReadsAFileThatBreaksOff) {
  const TempDir dir;
  std::ofstream(dir / "empty.mp4").close();
  std::ofstream(dir / "noise.h264") << std::string(5000, 'x');
  const struct {
    std::string file;
    const char* words;
  } cases[] = {{Clip("missing.mp4"), "No such file"},
               {dir / "empty.mp4", "cannot be opened"},
               {dir / "noise.h264", ""},
               {Clip("sound.wav"), "has no video"},
               {Clip("other.webm"), "its video is vp8; only H.264 and H.265"},
               {dir / "", ""}};
  for (const auto& one : cases) {
    AccessUnitSource source = SourceOf(one.file);
    EXPECT_FALSE(source.Open()) << one.file;
    EXPECT_THAT(source.Error(), testing::StartsWith(one.file + ": "));
    EXPECT_THAT(source.Error(), HasSubstr(one.words));
    EXPECT_FALSE(source.Next());
  }
  std::filesystem::copy_file(Clip("h264.h264"), dir / "cut.h264");
  std::filesystem::resize_file(dir / "cut.h264", std::filesystem::file_size(dir / "cut.h264") / 2);
  AccessUnitSource cut = SourceOf(dir / "cut.h264");
  ASSERT_TRUE(cut.Open()) << cut.Error();
  EXPECT_THAT(ReadAll(cut).timesMs.size(), testing::AllOf(testing::Gt(5u), testing::Lt(25u)));
}

TEST(AccessUnitSource, ReadsANetworkCamera) {
  const RtspCamera camera(Clip("h264.h264"));
  AccessUnitSource source = SourceOf(camera.Address()), file = SourceOf(Clip("h264.h264"));
  ASSERT_TRUE(source.Open() && file.Open()) << source.Error();
  EXPECT_EQ(std::tuple(source.Info().width, source.Info().height, source.Info().paced),
            std::tuple(160, 96, true));
  const Units received = ReadAll(source);
  EXPECT_EQ(received.bytes, ReadAll(file).bytes);
  EXPECT_TRUE(std::ranges::is_sorted(received.timesMs));
  EXPECT_EQ(received.timesMs.back(), (kFrames - 1) * 40);
}

TEST(AccessUnitSource, GivesUpOnACameraThatDoesNotAnswerAndWhenCancelled) {
  const RtspCamera mute("");
  AccessUnitSource source(mute.Address(), 1, {}, [] { return false; });
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(source.Open());
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
  EXPECT_THAT(source.Error(), testing::EndsWith("no answer within 1 s"));
  int asked = 0;
  AccessUnitSource cancelled(mute.Address(), 60, {}, [&] { return ++asked > 3; });
  EXPECT_FALSE(cancelled.Open());
  EXPECT_EQ(cancelled.Error(), "");
}

}  // namespace
