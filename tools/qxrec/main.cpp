// qxrec: writes recordings in the player library's own format from whatever libavformat reads.
extern "C" {
#include <libavutil/log.h>
}

#include <csignal>
#include <cstdio>
#include <vector>

#include "codecs/qmp4pkg/QdxIndex.h"
#include "tools/common/SignalWatch.h"
#include "tools/qxrec/Recorder.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongOptions = 2;
constexpr int kEndedByItself = 3;

int Record(const Options& options) {
  Console console("qxrec");
  std::atomic<bool> stop{false};
  SignalWatch signals;
  signals.Start([&stop] { stop = true; });
  const Outcome outcome = Recorder(options, console, stop).Run();
  signals.Stop();
  if (outcome == Outcome::kEndedByItself) return kEndedByItself;
  return outcome == Outcome::kRecorded ? 0 : kFailed;
}

int WriteIndex(const std::string& mp4Name) {
  Console console("qxrec");
  const std::string qdxName = QdxNameOf(mp4Name);
  std::string error;
  if (!WriteQdxIndex(mp4Name, qdxName, error)) {
    console.Complain(error);
    return kFailed;
  }
  console.Say(qdxName + ": written");
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string_view> arguments(argv + 1, argv + argc);
  const auto parsed = ParseOptions(arguments);
  if (const auto* error = std::get_if<std::string>(&parsed)) {
    fprintf(stderr, "qxrec: %s\nqxrec --help lists the options.\n", error->c_str());
    return kWrongOptions;
  }
  const auto& options = std::get<Options>(parsed);
  if (options.help || options.version) {
    printf("%s", options.help ? UsageText().data() : "qxrec " QXREC_VERSION "\n");
    return 0;
  }
  av_log_set_level(AV_LOG_QUIET);  // this program tells in its own words
  // A full disk and a closed pipe are failures that calls answer, and must not leave half a file behind.
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  return options.index.empty() ? Record(options) : WriteIndex(options.index);
}
