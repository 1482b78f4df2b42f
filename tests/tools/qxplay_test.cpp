// The program itself, without a display: what it prints, its result, and the contact sheet that it leaves.
#include <gmock/gmock.h>
#include <png.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "tests/support/ChildProgram.h"
#include "tests/support/TempDir.h"

namespace {

using testing::HasSubstr;

std::string Clip(const std::string& name) {
  return QX_CLIPS "/" + name;
}

// The pixels of a picture, 0xAARRGGBB, row by row; none when it cannot be read.
std::vector<uint32_t> PixelsOf(const std::string& file) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&png, file.c_str())) return {};
  png.format = PNG_FORMAT_BGRA;
  std::vector<uint32_t> pixels(static_cast<size_t>(png.width) * png.height);
  if (!png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr)) return {};
  return pixels;
}

size_t ColoursOf(const std::string& file) {
  const std::vector<uint32_t> pixels = PixelsOf(file);
  return std::set<uint32_t>(pixels.begin(), pixels.end()).size();
}

class QxPlay : public testing::Test {
 protected:
  QxPlay() { setenv("QXSDKP_DISPLAY", "headless", 1); }

  // Plays as live streams, not at the pace of a camera, so that it does not take the time of one: 5 ms a
  // frame, shown at once. Expects the result, and these words in the output.
  void Play(std::vector<std::string> arguments, int result, const std::vector<std::string>& words) const {
    const std::string always[] = {"--live", "--fps=200", "--mode=0x10"};
    arguments.insert(arguments.begin(), std::begin(always), std::end(always));
    arguments.push_back("--sheet=" + m_strSheet);
    Expect(std::move(arguments), result, words);
  }
  static void Expect(std::vector<std::string> arguments, int result, const std::vector<std::string>& words) {
    ChildProgram program(QX_PLAY, std::move(arguments));
    EXPECT_EQ(program.Finish(), result) << program.Output();
    for (const std::string& one : words)
      EXPECT_THAT(program.Output(), HasSubstr(one));
  }

  const TempDir m_Dir;
  const std::string m_strSheet = m_Dir / "sheet.png";
};

TEST_F(QxPlay, PlaysH264AndH265InAGrid) {
  Play({Clip("h264.mp4"), Clip("h265.mp4"), Clip("h264.h264"), "--copies=2"}, 0, {"presented 150 pictures"});
  EXPECT_GT(ColoursOf(m_strSheet), 100u);
}

TEST_F(QxPlay, CountsAPictureThatSpansTwoScreensOnce) {
  setenv("QXSDKP_DISPLAY", "headless:640x720+0+0,640x720+640+0", 1);
  Play({Clip("quarters.mp4"), "--size=1280x720"}, 0, {"presented 25 pictures"});
  // Its first quarter is red.
  const std::vector<uint32_t> pixels = PixelsOf(m_strSheet);
  const auto is = [](uint32_t colour) { return [=](uint32_t p) { return (p & 0xC0C0C0) == colour; }; };
  EXPECT_LT(std::ranges::find_if(pixels, is(0xC00000)) - pixels.begin(),
            std::ranges::find_if(pixels, is(0x0000C0)) - pixels.begin());
}

TEST_F(QxPlay, OthersGoOnWhenASourceFails) {
  Play({Clip("missing.mp4"), Clip("h264.mp4"), Clip("sound.wav")}, 1,
       {"missing.mp4: cannot be opened", "sound.wav: has no video", "presented 25 pictures"});
  EXPECT_GT(ColoursOf(m_strSheet), 100u);
}

// Beside one that is none, and a stream that the library does not open by itself.
TEST_F(QxPlay, PlaysRecordings) {
  std::ofstream(m_Dir / "noise.sv5") << std::string(5000, 'x');
  Expect(
      {Clip("h264.sv5"), m_Dir / "noise.sv5", Clip("missing.mp4"), Clip("h264.mkv"), "--sheet=" + m_strSheet},
      1,
      {"noise.sv5: the player library cannot play this file", "missing.mp4: No such file", "frame 25 of 25",
       "presented 50 pictures"});
  EXPECT_GT(ColoursOf(m_strSheet), 100u);
}

TEST_F(QxPlay, LooksIntoFiles) {
  Expect({"--probe", Clip("h264.mp4"), Clip("h264.sv5"), Clip("missing.mp4"), Clip("h265.h265")}, 1,
         {"h264.mp4: 25 frames, 160x96, 25 fps\n  3 key frames: 1 11 21\n",
          "h264.sv5: 25 frames, 160x96, 25 fps\n  key frames: not told by this format\n",
          "missing.mp4: No such file", "h265.h265: the player library cannot read this file"});
  Expect({"--thumbs", Clip("h265.mp4"), m_strSheet}, 0, {});
  EXPECT_GT(ColoursOf(m_strSheet), 100u);
  Expect({"--thumbs", Clip("h264.sv5"), m_strSheet}, 1, {"only MP4 files"});
}

TEST_F(QxPlay, TellsWhatItCannotDo) {
  Play({Clip("other.webm")}, 1, {"only H.264 and H.265 can be played", "nothing was presented"});
  EXPECT_FALSE(std::filesystem::exists(m_strSheet));
  Expect({"--live", "--mode=0x10", "--sheet=/nowhere/sheet.png", Clip("h264.mp4")}, 1,
         {"/nowhere/sheet.png: the contact sheet cannot be written"});
  Expect({"--live"}, 2, {"qxplay: no source given"});
}

TEST_F(QxPlay, LoopsUntilTheTimeIsOverOrCtrlC) {
  ChildProgram program(QX_PLAY, {"--live", Clip("h264.mp4"), "--loop", "--sheet=" + m_strSheet});
  EXPECT_TRUE(program.ReadUntil("latency ")) << program.Output();
  program.Interrupt();
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  EXPECT_GT(ColoursOf(m_strSheet), 100u);

  ChildProgram timed(QX_PLAY, {Clip("h264.mp4"), "--loop", "--seconds=2", "--no-sheet"});
  EXPECT_EQ(timed.Finish(), 0) << timed.Output();
  int presented = 0;
  EXPECT_TRUE(
      timed.Output().find("presented ") != std::string::npos &&
      sscanf(timed.Output().c_str() + timed.Output().find("presented "), "presented %d", &presented) == 1);
  EXPECT_GT(presented, 30);  // of a file of 25
}

// On a terminal, which it leaves as it was.
TEST_F(QxPlay, TakesKeysFromTheTerminal) {
  ChildProgram program(QX_PLAY, {Clip("h264.sv5"), "--loop", "--no-sheet", "--snapshots", m_Dir / "shots"},
                       ChildProgram::Screen::kTerminal);
  termios before{}, after{};
  tcgetattr(program.Terminal(), &before);
  const struct {
    const char* key;
    const char* words;
  } steps[] = {
      {"", "1x"},
      {" ", "paused"},
      {"5", "frame 11 of 25"},
      {".", "frame 12 of 25"},
      {"\x1b[D", "frame 1 of 25"},
      {"+-zwwccs", ".png"},
      {"i", "picture processing: "},  // on, or that there is no library: sanitizers hide those beside qxplay
      {"d", "--live plays recordings as such"},
      {"]", "2x"},
      {"m", "muted"},
      {"q", "presented"}};
  for (const auto& step : steps) {
    EXPECT_EQ(write(program.Terminal(), step.key, strlen(step.key)), static_cast<ssize_t>(strlen(step.key)));
    EXPECT_TRUE(program.ReadUntil(step.words)) << step.words << " not in " << program.Output();
  }
  EXPECT_EQ(program.Finish(), 0);
  tcgetattr(program.Terminal(), &after);
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  size_t snapshots = 0;
  for (const auto& entry : std::filesystem::directory_iterator(m_Dir / "shots"))
    snapshots += ColoursOf(entry.path()) > 100 ? 1 : 100;
  EXPECT_EQ(snapshots, 1u);
}

}  // namespace
