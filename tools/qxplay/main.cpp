// qxplay: plays recordings, video files and network cameras in a window, or without a display, as a host of
// the player library.
extern "C" {
#include <libavutil/log.h>
}

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "include/qxsdkp.h"
#include "tools/common/SignalWatch.h"
#include "tools/qxplay/FileReport.h"
#include "tools/qxplay/HeadlessHost.h"
#include "tools/qxplay/Session.h"
#include "tools/qxplay/TerminalKeys.h"
#include "tools/qxplay/WindowHost.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongOptions = 2;
// They pick the library's devices, as include/qxsdkp.h says.
constexpr const char* kDisplayVariable = "QXSDKP_DISPLAY";
constexpr const char* kSoundVariable = "QXSDKP_SOUND";
constexpr const char* kCannotStart = "the player library cannot start; --log error tells more";

enum class Display { kHeadless, kWindowOrHeadless, kWindow };

Display WantedDisplay(const Options& options) {
  const char* text = getenv(kDisplayVariable);
  const std::string_view variable = text ? text : "";
  if (options.headless || variable.starts_with("headless")) return Display::kHeadless;
  if (variable == "x11") return Display::kWindow;
  return getenv("DISPLAY") ? Display::kWindowOrHeadless : Display::kHeadless;
}

// A place in the corner of the library's first screen, cut to it. After QXSP_InitSDK.
Area HeadlessArea(const Options& options) {
  QXSP_SCREEN_RECT screen{};
  int32_t count = 1;
  QXSP_GetScreenInfo(&screen, &count);
  const QXSP_RECT& monitor = screen.rcMonitor;
  if (count < 1) return {.right = options.width, .bottom = options.height};
  const Area room = {.right = std::min(options.width, monitor.right - monitor.left),
                     .bottom = std::min(options.height, monitor.bottom - monitor.top)};
  return {.left = monitor.left,
          .top = monitor.top,
          .right = monitor.left + room.right,
          .bottom = monitor.top + room.bottom};
}

// The library, for the time of its life.
class Library {
 public:
  explicit Library(const Options& options) {
    QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);  // silence while it starts
    m_bStarted = QXSP_InitSDK() != 0;
    QXSP_ConfigLog(options.logLevel, options.logLevel < QXSP_LOG_NONE ? options.logDir.c_str() : nullptr,
                   QXSP_LOG_NONE);
  }
  ~Library() {
    if (m_bStarted) QXSP_ReleaseSDK();
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  bool Started() const { return m_bStarted; }

 private:
  bool m_bStarted;
};

// Looks into files: no window, no sound.
int LookInto(const Options& options, Console& console) {
  setenv(kDisplayVariable, "headless", 1);
  setenv(kSoundVariable, "none", 1);
  const Library library(options);
  if (!library.Started()) {
    console.Complain(kCannotStart);
    return kFailed;
  }
  const bool done = options.thumbs ? WriteThumbnails(options.sources[0], options.sources[1], console)
                                   : ReportFiles(options.sources, console);
  return done ? 0 : kFailed;
}

int Play(const Options& options, Console& console) {
  SignalWatch signals;
  std::unique_ptr<Host> host;
  const Display display = WantedDisplay(options);
  if (display != Display::kHeadless) {
    std::string error;
    host = WindowHost::Create(options.width, options.height, error);
    if (!host) console.Complain("no window: " + error);
    if (!host && display == Display::kWindow) return kFailed;
  }
  const bool headless = !host;
  const char* variable = getenv(kDisplayVariable);
  // The library must choose as this program did; a list of headless screens stays.
  if (headless && !std::string_view(variable ? variable : "").starts_with("headless"))
    setenv(kDisplayVariable, "headless", 1);

  const Library library(options);
  if (!library.Started()) {
    console.Complain(kCannotStart);
    return kFailed;
  }
  if (headless) host = std::make_unique<HeadlessHost>(HeadlessArea(options));
  std::string sheet = options.sheet;
  if (sheet.empty() && headless && !options.noSheet) sheet = options.headlessSheet;

  Session session(options, *host, console, sheet);
  const TerminalKeys keys([&host](int key) { host->PostKey(key); });
  signals.Start([&host] { host->RequestQuit(); }, [&keys] { keys.Restore(); });
  const int result = session.Run();
  signals.Stop();
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  const auto parsed = ParseOptions(arguments);
  if (const auto* error = std::get_if<std::string>(&parsed)) {
    fprintf(stderr, "qxplay: %s\nqxplay --help lists the options.\n", error->c_str());
    return kWrongOptions;
  }
  const auto& options = std::get<Options>(parsed);
  if (options.help) {
    printf("%s", UsageText().data());
    return 0;
  }
  av_log_set_level(AV_LOG_QUIET);  // this program tells in its own words
  Console console("qxplay");
  return options.probe || options.thumbs ? LookInto(options, console) : Play(options, console);
}
