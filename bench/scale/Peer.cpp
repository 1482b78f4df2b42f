#include <mpv/client.h>

#include <cstdio>
#include <memory>
#include <thread>
#include <vector>

#include "bench/Measure.h"
#include "bench/scale/Parts.h"
#include "bench/scale/Process.h"

namespace {

constexpr auto kSettle = std::chrono::seconds(4);
constexpr auto kWindow = std::chrono::seconds(10);
constexpr auto kPatience = std::chrono::seconds(30);  // until a file plays

// Nothing but decoding and timing: no picture is drawn, no sound, no scripts, no read-ahead, one decoding
// thread.
constexpr const char* kOptions[][2] = {
    {"config", "no"},
    {"terminal", "no"},
    {"load-scripts", "no"},
    {"ytdl", "no"},
    {"osc", "no"},
    {"input-default-bindings", "no"},
    {"osd-level", "0"},
    {"vo", "null"},
    {"audio", "no"},
    {"sid", "no"},
    {"hwdec", "no"},
    {"vd-lavc-threads", "1"},
    {"cache", "no"},
    {"demuxer-thread", "no"},
    {"demuxer-max-bytes", "1MiB"},
    {"demuxer-max-back-bytes", "0"},
};

class Handle {
 public:
  explicit Handle(const char* file) : m_pHandle(mpv_create()) {
    Require(m_pHandle != nullptr, "libmpv makes no handle");
    for (const auto& [name, value] : kOptions)
      Require(mpv_set_option_string(m_pHandle, name, value) == 0, std::string("libmpv refuses ") + name);
    Require(mpv_initialize(m_pHandle) == 0, "libmpv does not start");
    const char* command[] = {"loadfile", file, nullptr};
    Require(mpv_command(m_pHandle, command) == 0, "libmpv does not load the file");
    AwaitPlaying(file);
  }
  ~Handle() { mpv_terminate_destroy(m_pHandle); }
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;

  // Frames of which the time has come, less those that were left out.
  double FramesShown() const {
    return static_cast<double>(Number("estimated-frame-number") - Number("frame-drop-count") -
                               Number("decoder-frame-drop-count"));
  }

 private:
  void AwaitPlaying(const std::string& file) {
    const auto end = Clock::now() + kPatience;
    while (true) {
      const mpv_event& event = *mpv_wait_event(m_pHandle, 1);
      if (event.event_id == MPV_EVENT_PLAYBACK_RESTART) return;
      if (event.event_id == MPV_EVENT_END_FILE) {
        const int error = static_cast<const mpv_event_end_file*>(event.data)->error;
        Require(false, "libmpv does not play " + file + ": " + mpv_error_string(error));
      }
      Require(Clock::now() < end, "libmpv does not begin to play " + file);
    }
  }

  int64_t Number(const char* property) const {
    int64_t value = 0;
    Require(mpv_get_property(m_pHandle, property, MPV_FORMAT_INT64, &value) == 0,
            std::string("libmpv has no ") + property);
    return value;
  }

  mpv_handle* m_pHandle;
};

double FramesShown(const std::vector<std::unique_ptr<Handle>>& handles) {
  double frames = 0;
  for (const auto& handle : handles)
    frames += handle->FramesShown();
  return frames;
}

}  // namespace

void RunPeer(const std::vector<std::string>& arguments) {
  const int count = std::stoi(arguments.at(1));
  const double bareMsPerFrame = std::stod(arguments.at(2));
  const double ourRatio = std::stod(arguments.at(3));
  const double ourKiB = std::stod(arguments.at(4));
  const ProcessFigures before = ReadProcessFigures();
  std::vector<std::unique_ptr<Handle>> handles;
  const auto opening = Clock::now();
  for (int i = 0; i < count; ++i)
    handles.push_back(std::make_unique<Handle>(arguments.at(0).c_str()));
  const double openedMs = MsSince(opening);
  std::this_thread::sleep_for(kSettle);

  const auto start = Clock::now();
  const double cpu = ProcessCpuMs();
  const double shown = FramesShown(handles);
  std::this_thread::sleep_for(kWindow);
  const double cpuMs = ProcessCpuMs() - cpu;
  const double frames = FramesShown(handles) - shown;
  const double elapsedMs = MsSince(start);
  const ProcessFigures during = ReadProcessFigures();

  const double ratio = cpuMs / (frames * bareMsPerFrame);
  const double kib =
      (static_cast<double>(during.residentKiB) - static_cast<double>(before.residentKiB)) / count;
  std::printf(
      "  libmpv: CPU %.2f %% of one core, over bare decode %.3f; %.1f frames a second each; opened in %.1f "
      "s\n"
      "  libmpv, each: %.1f MiB resident, %.1f threads\n"
      "  ours over libmpv: CPU without windows %.2f, memory %.2f\n",
      cpuMs / elapsedMs * 100, ratio, frames / count / elapsedMs * 1e3, openedMs / 1e3, kib / 1024,
      (static_cast<double>(during.threads) - static_cast<double>(before.threads)) / count, ourRatio / ratio,
      ourKiB / kib);
}
