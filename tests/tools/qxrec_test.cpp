// qxrec: the places of frames and sound, and the program itself, whose recordings the library's own reader
// and decoders must take.
#include <gmock/gmock.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>

#include "decode/Decoder.h"
#include "file/MediaFileStream.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/NalUnits.h"
#include "tests/support/TempDir.h"
#include "tests/tools/RtspCamera.h"
#include "tools/qxrec/Recording.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Bytes = std::vector<uint8_t>;

std::string Clip(const std::string& name) {
  return QX_CLIPS "/" + name;
}

TEST(RecordingRate, IsTheOneThatFits) {
  const struct {
    uint32_t expected;
    bool isExceeded;
    std::vector<double> inputs;
  } cases[] = {{25, false, {0, 1, 12.5, 23.976, 24, 25, 25.01}},
               {30, false, {10, 15, 25.2, 29.97, 30}},
               {25, true, {50, 100}},
               {30, true, {59.94, 60, 120}}};
  for (const auto& [expected, isExceeded, inputs] : cases) {
    for (const double input : inputs) {
      const RecordingRate rate = ChooseRecordingRate(input);
      EXPECT_EQ(std::pair(rate.framesPerSecond, rate.isExceeded), std::pair(expected, isExceeded)) << input;
    }
  }
}

TEST(TimeLine, FramesTakeTheNearestFreePlace) {
  struct {
    const char* what;
    std::vector<int64_t> timesMs;
    std::vector<uint32_t> places;
  } const cases[] = {
      {"any begin", {-70, -30, 10}, {0, 1, 2}},
      {"jitter", {0, 55, 75, 120, 160}, {0, 1, 2, 3, 4}},
      {"slower", {0, 80, 160}, {0, 2, 4}},
      {"a burst is made up for", {0, 5, 10, 15, 400}, {0, 1, 2, 3, 10}},
      {"a clock that jumps", {0, 40, 90000000, 90000040, 80, 120}, {0, 1, 2, 3, 4, 5}},
  };
  for (const auto& [what, timesMs, places] : cases) {
    TimeLine timeLine(25, 60'000'000);
    std::vector<uint32_t> got;
    for (const int64_t time : timesMs)
      got.push_back(timeLine.Place(time * 1000));
    EXPECT_EQ(got, places) << what;
  }
  // Every second of 60 a second, and none at random although their times are rounded.
  TimeLine timeLine(30, 60'000'000);
  for (int64_t frame = 0; frame < 600; ++frame) {
    const auto place = timeLine.PlaceOrDrop(frame * 1'000'000 / 60);
    EXPECT_EQ(place.has_value(), frame % 2 == 0) << frame;
    EXPECT_EQ(place.value_or(frame / 2), frame / 2);
  }
}

// What is read back, in order: K key frame, v frame, e repeat, a sound.
struct Recorded {
  MediaInfo info;
  std::string kinds;
  Bytes video, sound;
  uint32_t pictures = 0;  // that the library's decoder makes of it
};

Recorded Read(const std::string& name) {
  Recorded recorded;
  const auto stream = MediaFileStream::OpenFile(name.c_str());
  if (!stream) return recorded;
  recorded.info = stream->Info();
  const MediaInfo& info = recorded.info;
  const auto decoder = Decoder::CreateVideoDecoder(info.nVideoCodecID, info.nWidth, info.nHeight, 40);
  Bytes buffer(1024 * 1024);  // a player's
  FrameRecord frame;
  while (stream->ReadFrame(buffer, frame)) {
    const std::span<const uint8_t> bytes = std::span(buffer).first(frame.dwFrameSize);
    const bool isSound = frame.ftFrameType == QFT_Audio;
    recorded.kinds += isSound ? 'a' : bytes.empty() ? 'e' : frame.bKeyFrame ? 'K' : 'v';
    Bytes& all = isSound ? recorded.sound : recorded.video;
    all.insert(all.end(), bytes.begin(), bytes.end());
    EXPECT_TRUE(!isSound || bytes.size() <= 1024);
    DecodedPicture picture;
    const bool decoded = !isSound && decoder->DecodeFrameVideo(picture, bytes.data(), frame.dwFrameSize, 0);
    if (decoded && picture.bHasImage) ++recorded.pictures;
  }
  return recorded;
}

class RecordingTest : public testing::Test {
 protected:
  void Begin(uint32_t framesPerSecond = 25, uint32_t mostSeconds = 0) {
    ASSERT_TRUE(m_Writer.Open(m_strName, {.width = 64, .height = 48, .framesPerSecond = framesPerSecond}));
    m_TimeLine.emplace(framesPerSecond, 60'000'000);
    m_Recording.emplace(m_Writer, *m_TimeLine, true, mostSeconds);
  }
  void Video(int64_t timeMs) {
    const uint32_t place = m_TimeLine->Place(timeMs * 1000);
    EXPECT_TRUE(m_Recording->AddVideo({.nPlace = place, .bKey = place == 0, .bytes = {1, 2, 3}}));
  }
  // So many blocks of 40 ms, of this value.
  void Sound(std::optional<int64_t> timeMs, size_t blocks, uint8_t value) {
    if (timeMs) *timeMs *= 1000;
    EXPECT_TRUE(m_Recording->AddSound(timeMs, Bytes(blocks * 320, value)));
  }
  Recorded End() {
    EXPECT_TRUE(m_Recording->Flush() && m_Writer.Finish(false)) << m_Writer.Error();
    return Read(m_strName);
  }
  // One value a block.
  static Bytes Blocks(const Recorded& recorded) {
    Bytes values;
    for (size_t i = 0; i < recorded.sound.size(); i += 320)
      values.push_back(recorded.sound[i + 160]);
    return values;
  }

  const TempDir m_Dir;
  const std::string m_strName = m_Dir / "a.sv5";
  SvxWriter m_Writer;
  std::optional<TimeLine> m_TimeLine;
  std::optional<Recording> m_Recording;
};

TEST_F(RecordingTest, SoundStands200MsBeforeTheFrameOfItsTime) {
  Begin();
  Sound(1000, 2, 1);  // before the first frame is known, and partly before its time
  Video(1040);
  Sound({}, 1, 2);
  Video(1120);
  Video(1160);
  EXPECT_EQ(m_Writer.VideoRecords(), 1u) << "the next one waits for 240 ms of sound";
  Sound(1130, 2, 3);  // close enough to follow
  const Recorded recorded = End();
  EXPECT_EQ(recorded.kinds, "Kaaaaevv");
  EXPECT_THAT(Blocks(recorded), ElementsAre(1, 2, 3, 3));
  EXPECT_EQ(recorded.info.nTotalFrames, 4u);
}

TEST_F(RecordingTest, MissingSoundIsSilence) {
  Begin(30);
  for (int64_t frame = 0; frame < 12; ++frame)
    Video(frame * 100 / 3);
  Sound(120, 1, 1);  // late
  Sound(280, 1, 2);  // behind a gap
  Sound(200, 4, 3);  // three of them overlap
  const Recorded recorded = End();
  EXPECT_EQ(recorded.kinds, "Kaaaaaavavavavvvvvvvav");
  EXPECT_THAT(Blocks(recorded), ElementsAre(128, 128, 128, 1, 128, 128, 128, 2, 3, 128));
  EXPECT_EQ(recorded.info.nFrameRateNum, 30u);
}

TEST_F(RecordingTest, SoundThatNeverComesDoesNotHoldThePictures) {
  Begin();
  for (int64_t frame = 0; frame < 1000; ++frame)
    Video(frame * 40);
  EXPECT_GT(m_Writer.VideoRecords(), 800u);
}

TEST_F(RecordingTest, APictureStaysForItsSoundUntilTheLimit) {
  Begin(25, 2);
  Video(0);
  Sound(0, 75, 1);
  EXPECT_EQ(End().kinds.size(), 100u);
}

TEST_F(RecordingTest, AFileThatAppearsMeanwhileStays) {
  Begin();
  Video(0);
  std::ofstream(m_strName) << "other";
  EXPECT_TRUE(m_Recording->Flush());
  EXPECT_FALSE(m_Writer.Finish(false));
  EXPECT_THAT(m_Writer.Error(), HasSubstr("File exists"));
  EXPECT_EQ(std::filesystem::file_size(m_strName), 5u);
}

class QxRec : public testing::Test {
 protected:
  // Runs to its end; the result.
  int Run(std::vector<std::string> arguments) {
    ChildProgram program(QX_REC, std::move(arguments));
    const int result = program.Finish();
    m_strOutput = program.Output();
    return result;
  }
  // The same on a disk that is full after so many bytes.
  int RunOnSmallDisk(std::vector<std::string> arguments, rlim_t bytes) {
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{.rlim_cur = bytes, .rlim_max = before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const int result = Run(std::move(arguments));
    setrlimit(RLIMIT_FSIZE, &before);
    return result;
  }
  size_t Files() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(m_Dir.Path()), {}));
  }

  const TempDir m_Dir;
  const std::string m_strFile = m_Dir / "a.sv5";
  std::string m_strOutput;
};

TEST_F(QxRec, CopiesH264Unchanged) {
  ASSERT_EQ(Run({Clip("camera.mp4"), m_strFile}), 0) << m_strOutput;
  const Recorded recorded = Read(m_strFile);
  std::ifstream file(Clip("camera.h264"), std::ios::binary);
  const Bytes extract(std::istreambuf_iterator<char>(file), {});
  EXPECT_EQ(NalUnitsOfPictures(recorded.video, false), NalUnitsOfPictures(extract, false));
  EXPECT_EQ(recorded.info.nTotalFrames, 50u);
  EXPECT_EQ(recorded.info.nWidth, 160u);
  std::string expected;
  for (int frame = 0; frame < 50; ++frame) {
    if (frame > 0) expected += std::string(frame == 1 ? 6 : frame < 48 ? 1 : 0, 'a');
    expected += frame % 10 == 0 ? 'K' : 'v';
  }
  EXPECT_EQ(recorded.kinds, expected);
  EXPECT_GE(recorded.pictures, 48u);  // two are held back for their order
  // 1 kHz at 8 kHz: eight samples a period. The pictures begin two frames late, and so does the sound.
  for (size_t i = 8000; i < 12000; ++i)
    ASSERT_NEAR(recorded.sound[i], recorded.sound[i + 8], 4) << i;
  EXPECT_GT(std::ranges::max(recorded.sound), 140);
  EXPECT_THAT(Bytes(recorded.sound.begin(), recorded.sound.begin() + 600), testing::Each(128));
}

TEST_F(QxRec, ConvertsWhatTheFormatCannotHold) {
  const struct {
    const char* input;
    const char* output;
    uint32_t rate, total, pictures;
    const char* begin;
    const char* says;
  } cases[] = {
      {"slow.mp4", "slow.sv6", 25, 49, 25, "Keveve", "24 repeats"},
      {"fast.mkv", "fast.sv5", 30, 60, 60, "Kaaaaaavavavav", "dropped, too many a second: 60"},
      {"older.avi", "older.sv5", 30, 30, 30, "Kvvvv", "(mpeg4) is converted to H.264"},
      {"camera.mp4", "camera.SV4", 25, 50, 50, "Kaaaaaavavav", "(h264) is converted to the older codec"},
      {"h265.mp4", "h265.sv5", 25, 25, 25, "Kvvvv", "(hevc) is converted to H.264"},
      {"cut.ts", "cut.sv5", 25, 40, 38, "Kaaaaaavavavav", "dropped before the first key frame: 5"},
  };
  for (const auto& [input, output, rate, total, pictures, begin, says] : cases) {
    ASSERT_EQ(Run({Clip(input), m_Dir / output}), 0) << m_strOutput;
    EXPECT_THAT(m_strOutput, HasSubstr(says));
    const Recorded recorded = Read(m_Dir / output);
    EXPECT_EQ(std::tuple(recorded.info.nFrameRateNum, recorded.info.nTotalFrames, recorded.info.nWidth),
              std::tuple(rate, total, 160u))
        << input;
    EXPECT_GE(recorded.pictures, pictures) << input;
    EXPECT_THAT(recorded.kinds, testing::StartsWith(begin)) << input;
  }
  ASSERT_EQ(Run({"--no-sound", "--seconds=1", Clip("camera.mp4"), m_strFile}), 0) << m_strOutput;
  EXPECT_EQ(Read(m_strFile).kinds.size(), 25u);
}

TEST_F(QxRec, RefusesAndLeavesNothing) {
  const std::string there = m_Dir / "there.sv5";
  std::filesystem::copy(Clip("camera.mp4"), there);
  struct {
    std::vector<std::string> arguments;
    int result;
    const char* says;
  } const cases[] = {
      {{Clip("noise.h264"), m_strFile}, 1, "the format holds at most 1048575"},
      {{Clip("camera.mp4"), there}, 1, "exists already"},
      {{"-f", there, there}, 1, "is the input itself"},
      {{Clip("sound.wav"), m_strFile}, 1, "has no video"},
      {{Clip("missing.mp4"), m_strFile}, 1, "cannot be opened"},
      {{Clip("camera.mp4"), m_Dir / "no/a.sv5"}, 1, "cannot be written"},
      {{Clip("camera.mp4"), m_Dir / "a.avi"}, 2, "a recording ends in"},
      {{Clip("camera.mp4"), m_strFile, "--fast"}, 2, "unknown option --fast"},
      {{"rtsp://127.0.0.1/", m_strFile}, 2, "say --live"},
  };
  for (const auto& [arguments, result, says] : cases) {
    EXPECT_EQ(Run(arguments), result) << m_strOutput;
    EXPECT_THAT(m_strOutput, HasSubstr(says));
    EXPECT_EQ(Files(), 1u) << says;
  }
  EXPECT_EQ(std::filesystem::file_size(there), std::filesystem::file_size(Clip("camera.mp4")));
  EXPECT_EQ(Run({"--force", Clip("camera.mp4"), there}), 0) << m_strOutput;
  EXPECT_EQ(Run({there, m_strFile}), 1);
  EXPECT_THAT(m_strOutput, HasSubstr("is a recording already"));
}

TEST_F(QxRec, AnInterruptLeavesNothing) {
  ChildProgram program(QX_REC, {Clip("hours.ffconcat"), m_Dir / "a.sv4"});
  ASSERT_TRUE(program.ReadUntil(" x  ")) << program.Output();
  EXPECT_EQ(Files(), 1u);
  program.Interrupt(SIGTERM);
  EXPECT_EQ(program.Finish(), 1);
  EXPECT_THAT(program.Output(), HasSubstr("interrupted; nothing is written"));
  EXPECT_EQ(Files(), 0u);
}

TEST_F(QxRec, WritesTheIndexOfAnMp4) {
  std::filesystem::copy(Clip("camera.mp4"), m_Dir / "a.mp4");
  EXPECT_EQ(Run({"--index", m_Dir / "a.mp4"}), 0) << m_strOutput;
  EXPECT_GT(std::filesystem::file_size(m_Dir / "a.qdx"), 50u * 16);
  EXPECT_EQ(Run({"--index", m_Dir / "none.mp4"}), 1);
}

TEST_F(QxRec, ACameraIsRecordedUntilSomeoneEndsIt) {
  const RtspCamera leaving(Clip("h264.h264"), 10);
  EXPECT_EQ(Run({"--live", leaving.Address(), m_strFile}), 3) << m_strOutput;
  EXPECT_THAT(m_strOutput, HasSubstr("the recording ended by itself"));
  EXPECT_EQ(Read(m_strFile).pictures, 250u);

  const RtspCamera staying(Clip("h264.h264"), 10, true);
  ChildProgram program(QX_REC, {"-f", "--live", staying.Address(), m_strFile});
  ASSERT_TRUE(program.ReadUntil("Ctrl-C ends it")) << program.Output();
  program.Interrupt();
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  const Recorded recorded = Read(m_strFile);
  EXPECT_GT(recorded.pictures, 0u);
  EXPECT_EQ(recorded.info.nTotalFrames, recorded.kinds.size());

  const RtspCamera mute("");
  EXPECT_EQ(Run({"-f", "--live", "--timeout=1", mute.Address(), m_strFile}), 1);
  EXPECT_THAT(m_strOutput, HasSubstr("no answer within 1 s"));
  EXPECT_EQ(Files(), 1u) << "the earlier recording stays";
}

TEST_F(QxRec, AFullDiskKeepsOnlyWhatNoOneHasAnyMore) {
  EXPECT_EQ(RunOnSmallDisk({Clip("camera.mp4"), m_strFile}, 8192), 1);
  EXPECT_THAT(m_strOutput, HasSubstr("cannot be written"));
  EXPECT_EQ(Files(), 0u);

  const RtspCamera camera(Clip("h264.h264"), 10);
  EXPECT_EQ(RunOnSmallDisk({"--live", camera.Address(), m_strFile}, 300'000), 3);
  EXPECT_THAT(m_strOutput, HasSubstr("cannot be written"));
  const Recorded recorded = Read(m_strFile);
  EXPECT_GT(recorded.pictures, 100u);
  EXPECT_LT(recorded.pictures, 250u);
  EXPECT_EQ(recorded.info.nTotalFrames, recorded.pictures) << "none is cut off";
}

}  // namespace
