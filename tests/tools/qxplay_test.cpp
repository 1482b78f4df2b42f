// The program itself, without a display: what it prints, its result, and the contact sheet that it leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

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
  // How many different colours the contact sheet has, 0 when it cannot be read.
  size_t ColoursOfSheet() const {
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, m_strSheet.c_str())) return 0;
    png.format = PNG_FORMAT_BGRA;
    std::vector<uint32_t> pixels(static_cast<size_t>(png.width) * png.height);
    if (!png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr)) return 0;
    return std::set<uint32_t>(pixels.begin(), pixels.end()).size();
  }

  const std::string m_strSheet = testing::TempDir() + "qxplay_test_" + std::to_string(getpid()) + ".png";
};

TEST_F(QxPlay, PlaysH264AndH265InAGrid) {
  Program program(Fast({Clip("h264.mp4"), Clip("h265.mp4"), Clip("h264.h264")}));
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  EXPECT_THAT(program.Output(), HasSubstr("presented 75 pictures"));
  EXPECT_GT(ColoursOfSheet(), 100u);
}

TEST_F(QxPlay, OneSourceFillsManyTiles) {
  Program program(Fast({Clip("h264.mp4"), "--copies=4"}));
  EXPECT_EQ(program.Finish(), 0) << program.Output();
  EXPECT_THAT(program.Output(), HasSubstr("presented 100 pictures"));
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

TEST_F(QxPlay, SecondsEndIt) {
  Program program(Fast({Clip("h264.mp4"), "--loop", "--seconds=1"}));
  EXPECT_EQ(program.Finish(), 0) << program.Output();
}

TEST_F(QxPlay, WrongOptionsHaveAResultOfTheirOwn) {
  Program program({"--live"});
  EXPECT_EQ(program.Finish(), 2);
  EXPECT_THAT(program.Output(), HasSubstr("qxplay: no source given"));
}

}  // namespace
