// The program itself, without a display: what it prints, its result, and the contact sheet that it leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "tests/tools/ChildProgram.h"

namespace {

using testing::HasSubstr;

std::string Clip(const std::string& name) {
  return QX_CLIPS "/" + name;
}

class Program : public ChildProgram {
 public:
  explicit Program(std::vector<std::string> arguments) : ChildProgram(QX_PLAY, std::move(arguments)) {}
};

class QxPlay : public testing::Test {
 protected:
  void SetUp() override {
    setenv("QXSDKP_DISPLAY", "headless", 1);
    std::filesystem::remove(m_strSheet);
  }
  void TearDown() override { std::filesystem::remove(m_strSheet); }

  // Not at the pace of a camera, so that it does not take the time of one: 5 ms a frame, shown at once.
  std::vector<std::string> Fast(std::vector<std::string> arguments) const {
    const std::string always[] = {"--live", "--fps=200", "--mode=0x10", "--sheet=" + m_strSheet};
    arguments.insert(arguments.end(), std::begin(always), std::end(always));
    return arguments;
  }
  size_t ColoursOfSheet() const { return ColoursOf(m_strSheet); }
  // How many different colours a picture has, 0 when it cannot be read.
  static size_t ColoursOf(const std::string& file) {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, file.c_str())) return 0;
    png.format = PNG_FORMAT_BGRA;
    std::vector<uint32_t> pixels(static_cast<size_t>(png.width) * png.height);
    if (!png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr)) return 0;
    return std::set<uint32_t>(pixels.begin(), pixels.end()).size();
  }

  const std::string m_strSheet = testing::TempDir() + "qxplay_test_" + std::to_string(getpid()) + ".png";
};

TEST_F(QxPlay, PlaysH264AndH265InAGrid) {
  Program program(Fast({Clip("h264.mp4"), Clip("h265.mp4"), Clip("h264.h264"), "--copies=2"}));
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  EXPECT_THAT(program.Output(), HasSubstr("presented 150 pictures"));
  EXPECT_GT(ColoursOfSheet(), 100u);
}

// A picture on two screens is one picture.
TEST_F(QxPlay, CountsAPictureThatSpansTwoScreensOnce) {
  setenv("QXSDKP_DISPLAY", "headless:640x720+0+0,640x720+640+0", 1);
  Program program(Fast({Clip("h264.mp4"), "--size=1280x720"}));
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  EXPECT_THAT(program.Output(), HasSubstr("presented 25 pictures"));
}

TEST_F(QxPlay, OthersGoOnWhenASourceFails) {
  Program program(Fast({Clip("missing.mp4"), Clip("h264.mp4"), Clip("sound.wav")}));
  EXPECT_EQ(program.Finish(), 1);
  EXPECT_THAT(program.Output(), HasSubstr("missing.mp4: cannot be opened"));
  EXPECT_THAT(program.Output(), HasSubstr("sound.wav: has no video"));
  EXPECT_THAT(program.Output(), HasSubstr("presented 25 pictures"));
  EXPECT_GT(ColoursOfSheet(), 100u);
}

// Beside one that is none, and a stream that the library does not open by itself.
TEST_F(QxPlay, PlaysRecordings) {
  const std::string noise = testing::TempDir() + "noise.sv5";
  std::ofstream(noise) << std::string(5000, 'x');
  Program program({Clip("h264.sv5"), noise, Clip("missing.mp4"), Clip("h264.mkv"), "--sheet=" + m_strSheet});
  EXPECT_EQ(program.Finish(), 1);
  EXPECT_THAT(program.Output(), HasSubstr("noise.sv5: the player library cannot play this file"));
  EXPECT_THAT(program.Output(), HasSubstr("missing.mp4: No such file"));
  EXPECT_THAT(program.Output(), HasSubstr("frame 25 of 25"));
  EXPECT_THAT(program.Output(), HasSubstr("presented 50 pictures"));
  EXPECT_GT(ColoursOfSheet(), 100u);
  std::filesystem::remove(noise);
}

TEST_F(QxPlay, LooksIntoFiles) {
  Program probe({"--probe", Clip("h264.mp4"), Clip("h264.sv5"), Clip("missing.mp4"), Clip("h265.h265")});
  EXPECT_EQ(probe.Finish(), 1);
  for (const char* words :
       {"h264.mp4: 25 frames, 160x96, 25 fps\n  3 key frames: 1 11 21\n",
        "h264.sv5: 25 frames, 160x96, 25 fps\n  key frames: not told by this format\n",
        "missing.mp4: No such file", "h265.h265: the player library cannot read this file"})
    EXPECT_THAT(probe.Output(), HasSubstr(words));
  Program thumbs({"--thumbs", Clip("h265.mp4"), m_strSheet});
  EXPECT_EQ(thumbs.Finish(), 0) << thumbs.Output();
  EXPECT_GT(ColoursOfSheet(), 100u);
  Program refused({"--thumbs", Clip("h264.sv5"), m_strSheet});
  EXPECT_EQ(refused.Finish(), 1);
  EXPECT_THAT(refused.Output(), HasSubstr("only MP4 files"));
}

TEST_F(QxPlay, TellsWhenNothingWasPresented) {
  Program program(Fast({Clip("other.webm")}));
  EXPECT_EQ(program.Finish(), 1);
  EXPECT_THAT(program.Output(), HasSubstr("only H.264 and H.265 can be played"));
  EXPECT_THAT(program.Output(), HasSubstr("nothing was presented"));
  EXPECT_FALSE(std::filesystem::exists(m_strSheet));
}

TEST_F(QxPlay, TellsWhenTheSheetCannotBeWritten) {
  Program program({"--live", "--mode=0x10", "--sheet=/nowhere/sheet.png", Clip("h264.mp4")});
  EXPECT_EQ(program.Finish(), 1);
  EXPECT_THAT(program.Output(), HasSubstr("/nowhere/sheet.png: the contact sheet cannot be written"));
}

TEST_F(QxPlay, CtrlCEndsItInOrder) {
  Program program(Fast({Clip("h264.mp4"), "--loop"}));
  EXPECT_TRUE(program.ReadUntil("latency ")) << program.Output();
  program.Interrupt();
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  EXPECT_THAT(program.Output(), HasSubstr("contact sheet: " + m_strSheet));
  EXPECT_GT(ColoursOfSheet(), 100u);
}

TEST_F(QxPlay, LoopsUntilTheTimeIsOver) {
  Program program({Clip("h264.mp4"), "--loop", "--seconds=2", "--no-sheet"});
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  int presented = 0;
  const size_t summary = program.Output().find("presented ");
  ASSERT_NE(summary, std::string::npos);
  EXPECT_EQ(sscanf(program.Output().c_str() + summary, "presented %d", &presented), 1);
  EXPECT_GT(presented, 30);  // of a file of 25
}

// On a terminal of its own, which it leaves as it was.
TEST_F(QxPlay, TakesKeysFromTheTerminal) {
  const std::string snapshots = testing::TempDir() + "snapshots_" + std::to_string(getpid());
  int terminal = -1;
  const pid_t process = forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(process, 0);
  const std::string file = Clip("h264.sv5");
  if (process == 0) {
    execl(QX_PLAY, QX_PLAY, file.c_str(), "--loop", "--no-sheet", "--snapshots", snapshots.c_str(), nullptr);
    _exit(99);
  }
  termios before{}, after{};
  tcgetattr(terminal, &before);
  std::string output;
  const auto readUntil = [&](const char* words) {
    char bytes[256];
    while (output.find(words) == std::string::npos) {
      pollfd readable = {terminal, POLLIN, 0};
      const bool isThere = poll(&readable, 1, 20'000) == 1;  // ms
      const ssize_t count = isThere ? read(terminal, bytes, sizeof(bytes)) : 0;
      if (count <= 0) return false;
      output.append(bytes, static_cast<size_t>(count));
    }
    output.erase(0, output.find(words) + 1);
    return true;
  };
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
      {"m", "muted"}};
  for (const auto& step : steps) {
    EXPECT_EQ(write(terminal, step.key, strlen(step.key)), static_cast<ssize_t>(strlen(step.key)));
    EXPECT_TRUE(readUntil(step.words)) << step.words << " after " << step.key << " not in " << output;
  }
  EXPECT_EQ(write(terminal, "q", 1), 1);
  EXPECT_TRUE(readUntil("presented"));
  int status = 0;
  readUntil("never said");
  waitpid(process, &status, 0);
  tcgetattr(terminal, &after);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(after.c_lflag, before.c_lflag);
  close(terminal);
  for (const auto& entry : std::filesystem::directory_iterator(snapshots))
    EXPECT_GT(ColoursOf(entry.path()), 100u);
  EXPECT_EQ(std::filesystem::remove_all(snapshots), 2u);  // with the one in it
}

TEST_F(QxPlay, WrongOptionsHaveAResultOfTheirOwn) {
  Program program({"--live"});
  EXPECT_EQ(program.Finish(), 2);
  EXPECT_THAT(program.Output(), HasSubstr("qxplay: no source given"));
}

}  // namespace
