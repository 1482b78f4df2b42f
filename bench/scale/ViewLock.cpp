// What the setting ViewLock costs, and what it saves.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench/Measure.h"
#include "bench/scale/Cases.h"
#include "bench/scale/Comparison.h"
#include "bench/scale/Parts.h"
#include "bench/scale/Process.h"

namespace {

constexpr int kScreens = 16;

// The library reads its settings from beside the program: a copy of it, in a folder of its own.
class ProgramWithSettings {
 public:
  explicit ProgramWithSettings(const char* settings)
      : m_Folder(std::filesystem::temp_directory_path() / ("qx-bench-viewlock-" + std::to_string(getpid()))) {
    std::filesystem::create_directory(m_Folder);
    std::filesystem::copy_file(ProgramPath(), Path());
    std::ofstream(m_Folder / "QXSDKP.ini") << settings << "\nStdOutLogLevel = 6\n";
  }
  ~ProgramWithSettings() { std::filesystem::remove_all(m_Folder); }
  ProgramWithSettings(const ProgramWithSettings&) = delete;
  ProgramWithSettings& operator=(const ProgramWithSettings&) = delete;

  std::string Path() const { return m_Folder / "bench_scale"; }

 private:
  const std::filesystem::path m_Folder;
};

}  // namespace

void RunViewLockPart(const std::vector<std::string>& arguments) {
  const int screens = std::stoi(arguments.at(0));
  StartLibrary(screens);
  const bool wall = screens == 1;
  const LiveClip clip = ReadLiveClip(wall ? QX_SCALE_CLIP_352x288 : QX_SCALE_CLIP_704x576);
  const Comparison comparison = CompareLoad(
      {clip, wall ? 64u : static_cast<uint32_t>(screens), 25, false, static_cast<uint32_t>(screens)}, 1);
  std::printf("  push to presented: median %.2f ms, 99th percentile %.2f ms\n",
              Quantile(comparison.lateMs, 0.5), Quantile(comparison.lateMs, 0.99));
  QXSP_ReleaseSDK();
}

void RunViewLock() {
  for (const int screens : {kScreens, 1}) {
    for (const char* setting : {"ViewLock = 1", "ViewLock = 0"}) {
      std::printf(
          " %s, %s\n", setting,
          screens == 1 ? "64 of 352x288 on one screen" : "16 of 704x576, each on a screen of its own");
      const ProgramWithSettings program(setting);
      Require(RunProgram(program.Path(), {"--viewlock", std::to_string(screens)}), "a part failed");
    }
  }
}
