// The hosts of README.md and docs/host-guide.md: their texts are the compiled ones, and they do what is said
// of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>

#include "tests/support/ChildProgram.h"
#include "tests/support/TempDir.h"
#include "tools/examples/ten_lines.h"
#include "tools/qxplay/AccessUnitSource.h"

namespace {

std::string ReadFile(const std::string& file) {
  std::stringstream text;
  text << std::ifstream(file, std::ios::binary).rdbuf();
  return text.str();
}

// What stands between `begin` and `end` in a line.
std::multiset<std::string> Names(const std::string& text, const std::string& begin, const std::string& end) {
  std::multiset<std::string> names;
  for (size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at)) {
    at += begin.size();
    names.insert(text.substr(at, text.find(end, at) - at));
  }
  return names;
}

// What a program printed, without the log's lines from before QXSDKP.ini was read.
std::string WithoutLog(const std::string& output) {
  std::istringstream lines(output);
  std::string said;
  for (std::string line; std::getline(lines, line);)
    if (!line.empty() && line.find(" debug: ") != 12 && line.find(" error: ") != 12) said += line + "\n";
  return said;
}

// What stands between two marks; empty when one is missing.
std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
  const size_t from = text.find(begin);
  if (from == std::string::npos) return "";
  const size_t to = text.find(end, from + begin.size());
  return to == std::string::npos ? "" : text.substr(from + begin.size(), to - from - begin.size());
}

std::string WithoutIndentation(const std::string& text) {
  std::istringstream lines(text);
  std::string result;
  for (std::string line; std::getline(lines, line);)
    result += (line.starts_with("  ") ? line.substr(2) : line) + "\n";
  return result;
}

TEST(TenLines, StandInTheReadme) {
  const std::string compiled =
      Between(ReadFile(QX_SOURCE_DIR "/tools/examples/ten_lines.c"), "// ten lines\n", "  // end");
  ASSERT_NE(compiled, "");
  EXPECT_EQ(Between(ReadFile(QX_SOURCE_DIR "/README.md"), "```c\n", "```"), WithoutIndentation(compiled));
}

// The camera: gives the next frame when the picture of the one before has been presented.
struct Camera {
  AccessUnitSource source{QX_CLIPS "/h264.mp4", 10, {}, [] { return false; }};
  std::optional<AccessUnit> unit;
  std::mutex mutex;
  std::condition_variable changed;
  int given = 0;
  int presented = 0;  // guarded by mutex
};
Camera* g_Camera;

void QXSP_CALLBACK OnPresented(uint32_t, void*, void*, void*, QXSP_RECT*, QXSP_RECT*) {
  const std::lock_guard lock(g_Camera->mutex);
  ++g_Camera->presented;
  g_Camera->changed.notify_all();
}

TEST(TenLines, PlayAStream) {
  setenv("QXSDKP_DISPLAY", "headless", 1);
  Camera camera;
  g_Camera = &camera;
  ASSERT_TRUE(camera.source.Open()) << camera.source.Error();
  QXSP_SetCallBack(nullptr, nullptr, nullptr, &OnPresented);
  play_camera(&camera, {0, 0, 320, 192});
  QXSP_SetCallBack(nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(camera.given, 25);
  EXPECT_EQ(camera.presented, 25);
}

// A snapshot of quarters.mp4 on disk.
struct Picture {
  explicit Picture(const std::string& file) : bytes(ReadFile(file)) {
    EXPECT_EQ(bytes.size(), 54 + kWidth * kHeight * 4) << file;
    bytes.resize(54 + kWidth * kHeight * 4);
  }
  std::string At(size_t x, size_t y) const {
    return bytes.substr(54 + ((kHeight - 1 - y) * kWidth + x) * 4, 3);
  }
  char Colour(size_t x, size_t y) const {
    const std::string bgr = At(x, y);
    return "-BG?R??W"[(bgr[0] & 0x80) / 0x80 + (bgr[1] & 0x80) / 0x40 + (bgr[2] & 0x80) / 0x20];
  }
  // How many pixels differ in this rectangle.
  int Changed(const Picture& other, size_t left, size_t top, size_t right, size_t bottom) const {
    int changed = 0;
    for (size_t y = top; y < bottom; ++y)
      for (size_t x = left; x < right; ++x)
        changed += At(x, y) != other.At(x, y) ? 1 : 0;
    return changed;
  }
  static constexpr size_t kWidth = 160, kHeight = 96;
  std::string bytes;
};

TEST(Guide, ProgramsDoWhatTheChaptersSay) {
  setenv("QXSDKP_DISPLAY", "headless:1280x720+0+0,800x600+1280+0", 1);
  setenv("QXSDKP_SOUND", "null", 1);
  const std::string clip = QX_CLIPS "/quarters.mp4";
  const TempDir folder;
  const struct {
    std::string program;
    std::vector<std::string> arguments;
    const char* output;  // a regular expression in it
  } examples[] = {
      {"live", {clip}, "^queued 25, shown 25, decoding well\n$"},
      {"file", {clip}, "frame 11\nframe 21\n25 frames of 160x96, the last key frame is 21\n$"},
      {"sound", {clip}, "audio play buffer empty, audio preview paused"},
      {"windows",
       {clip},
       "main .*1120,0. to .1440,192.*\nmain .*-160,0. to .160,192.*\nsub .*0,0. to .80,48"},
      {"zoom", {clip}, "^all of it: f.0.0.\n.*bottom left: 0.0.f.\n.*bottom right quarter: f.f.f.\n$"},
      {"overlay", {clip, folder / ""}, "^$"},
      {"snapshot", {clip, folder / "shot.bmp"}, "^$"},
      {"events", {clip, folder / "end.bmp"}, "^round 1 .*\n.* 0: snapshot\nround 2 .*\n.* 0: snapshot\n$"},
      {"log", {folder / "log"}, "^not opened, see"},
      {"tuning", {clip}, "^by their times (9[0-9]{2}|[0-9]{4,}) ms, at once [1-8]?[0-9]{1,2} ms\n$"},
      {"shutdown", {clip}, "^round 1: released again: 0\nround 2: released again: 0\n$"},
      {"probe", {clip, folder / "probe.bmp"}, "^25 frames of 160x96, 25.00 .*\n.* 1\n.* 11\n.* 21\n$"}};
  for (const auto& example : examples) {
    ChildProgram program(QX_EXAMPLES "/" + example.program, example.arguments);
    EXPECT_EQ(program.Finish(), 0) << example.program;
    EXPECT_THAT(WithoutLog(program.Output()), testing::ContainsRegex(example.output)) << example.program;
  }
  for (const char* name : {"shot.bmp", "end.bmp", "probe.bmp"}) {
    const Picture picture(folder / name);
    EXPECT_EQ((std::string{picture.Colour(9, 9), picture.Colour(150, 9)}), "RG") << name;
    EXPECT_EQ((std::string{picture.Colour(9, 90), picture.Colour(150, 90)}), "BW") << name;
  }
  const Picture plain(folder / "plain.bmp"), texts(folder / "texts.bmp"), rates(folder / "statistics.bmp");
  const int first = texts.Changed(plain, 10, 10, 58, 26), second = texts.Changed(plain, 10, 64, 34, 80);
  EXPECT_TRUE(first > 50 && second > 50) << first << ' ' << second;
  EXPECT_EQ(texts.Changed(plain, 0, 0, 160, 96), first + second);
  for (size_t line = 10; line < 70; line += 20)
    EXPECT_GT(rates.Changed(plain, 80, line, 160, line + 16), 50);
  std::string log;
  for (const auto& file : std::filesystem::directory_iterator(folder / "log"))
    log += ReadFile(file.path());
  EXPECT_NE(Between(log, "name:missing.mp4\n", "name:entrance"), "") << log;
}

TEST(Guide, HoldsEveryProgramAndListsEveryFunction) {
  std::string guide = ReadFile(QX_SOURCE_DIR "/docs/host-guide.md");
  for (const auto& file : std::filesystem::directory_iterator(QX_SOURCE_DIR "/tools/examples")) {
    const std::string kind = file.path().extension().string().substr(1);
    if ((kind != "c" && kind != "ini") || file.path().filename() == "ten_lines.c") continue;
    const std::string block = "```" + kind + "\n" + ReadFile(file.path()) + "```\n";
    const size_t at = guide.find(block);
    EXPECT_TRUE(at != std::string::npos) << file.path();
    if (at != std::string::npos) guide.erase(at, block.size());
  }
  EXPECT_TRUE(guide.find("```c\n") == std::string::npos) << "code that is no program";
  const auto functions = Names(ReadFile(QX_SOURCE_DIR "/include/qxsdkp.h"), " QXSP_CALL QXSP_", "(");
  EXPECT_EQ(functions.size(), 47u);
  EXPECT_EQ(Names(guide.substr(guide.find("\n## All functions")), "\n| `QXSP_", "` |"), functions);
}

}  // namespace

uint32_t read_frame(const uint8_t** frame) {
  Camera& camera = *g_Camera;
  std::unique_lock lock(camera.mutex);
  const auto all = [&] { return camera.presented == camera.given; };
  if (!camera.changed.wait_for(lock, std::chrono::seconds(20), all)) return 0;
  camera.unit = camera.source.Next();
  if (!camera.unit) return 0;
  ++camera.given;
  *frame = camera.unit->bytes.data();
  return static_cast<uint32_t>(camera.unit->bytes.size());
}
