// The host of README.md: its text is the compiled one, and it plays.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>

#include "tools/examples/ten_lines.h"
#include "tools/qxplay/AccessUnitSource.h"

namespace {

std::string ReadFile(const std::string& file) {
  std::stringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
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
