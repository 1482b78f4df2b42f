#include "tools/qxrec/Options.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <optional>

namespace {

bool EndsIn(std::string_view name, std::string_view ending) {
  return name.size() > ending.size() &&
         std::ranges::equal(name.substr(name.size() - ending.size()), ending,
                            [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

// Walks the arguments; the first thing that is wrong ends the walk.
class Parser {
 public:
  explicit Parser(std::span<const std::string_view> arguments) : m_Arguments(arguments) {}

  std::variant<Options, std::string> Run() {
    while (m_nNext < m_Arguments.size() && m_strError.empty())
      Take(m_Arguments[m_nNext++]);
    if (m_strError.empty() && !m_Options.help && !m_Options.version) CheckWhole();
    if (!m_strError.empty()) return m_strError;
    return m_Options;
  }

 private:
  void Take(std::string_view argument) {
    if (m_bOnlyNames || argument == "-" || !argument.starts_with('-')) {
      TakeName(argument);
    } else if (argument == "--") {
      m_bOnlyNames = true;
    } else {
      const size_t equals = argument.find('=');
      m_Value.reset();
      if (equals != std::string_view::npos) m_Value = argument.substr(equals + 1);
      TakeOption(argument.substr(0, equals));
    }
  }

  void TakeName(std::string_view name) {
    if (m_nNames == 2) return Fail(std::string(name) + ": one input and one output, no more");
    (m_nNames++ == 0 ? m_Options.input : m_Options.output) = name;
  }

  void TakeOption(std::string_view name) {
    bool* const flag = name == "--live"                      ? &m_Options.live
                       : name == "--no-sound"                ? &m_Options.noSound
                       : (name == "--force" || name == "-f") ? &m_Options.force
                       : (name == "--help" || name == "-h")  ? &m_Options.help
                       : name == "--version"                 ? &m_Options.version
                                                             : nullptr;
    if (flag && m_Value) return Fail(std::string(name) + " takes no value");
    if (flag) {
      *flag = true;
    } else if (name == "--seconds") {
      m_Options.seconds = Number(name, 7 * 24 * 3600);
    } else if (name == "--timeout") {
      m_Options.timeoutSeconds = static_cast<int>(Number(name, 3600));
    } else if (name == "--index") {
      m_Options.index = Value(name);
    } else {
      Fail("unknown option " + std::string(name));
    }
  }

  uint32_t Number(std::string_view name, uint32_t most) {
    const std::string_view text = Value(name);
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size() && value >= 1 && value <= most) return value;
    Fail(std::string(name) + ": " + std::string(text) + " is not a number from 1 to " + std::to_string(most));
    return 0;
  }

  // The text after "=" or the next argument.
  std::string_view Value(std::string_view name) {
    if (!m_Value && m_nNext < m_Arguments.size()) m_Value = m_Arguments[m_nNext++];
    if (!m_Value || m_Value->empty()) Fail(std::string(name) + " needs a value");
    return m_Value.value_or("");
  }

  void CheckWhole() {
    const Options& options = m_Options;
    if (!options.index.empty()) {
      if (m_nNames > 0) return Fail("--index stands alone: it writes the .qdx beside its file");
      if (!EndsIn(options.index, ".mp4")) return Fail(options.index + ": only .mp4 files have an index");
      return;
    }
    if (options.input.empty()) return Fail("no input given: name a file or an rtsp:// address");
    if (options.output.empty()) return Fail("no output given: name an .sv5 or .sv4 file");
    if (!EndsIn(options.output, ".sv4") && !EndsIn(options.output, ".sv5") &&
        !EndsIn(options.output, ".sv6")) {
      return Fail(options.output + ": a recording ends in .sv5 or .sv6 (H.264) or .sv4 (the older codec)");
    }
    const bool isCamera = options.input.starts_with("rtsp:") || options.input.starts_with("rtsps:");
    if (isCamera && !options.live) return Fail("say --live to record a network camera");
  }

  // Keeps the first complaint.
  void Fail(std::string text) {
    if (m_strError.empty()) m_strError = std::move(text);
  }

  std::span<const std::string_view> m_Arguments;
  size_t m_nNext = 0;
  size_t m_nNames = 0;
  bool m_bOnlyNames = false;
  std::optional<std::string_view> m_Value;  // of the option at hand, as far as known
  Options m_Options;
  std::string m_strError;
};

}  // namespace

std::variant<Options, std::string> ParseOptions(std::span<const std::string_view> arguments) {
  return Parser(arguments).Run();
}

std::string_view UsageText() {
  return R"(qxrec writes recordings for the player library, and the index of MP4 files.

  qxrec INPUT OUTPUT.sv5           H.264, copied where the input has it (.sv6 is the same)
  qxrec INPUT OUTPUT.sv4           the older codec
  qxrec --live rtsp://... OUTPUT   record a camera until Ctrl-C
  qxrec --index FILE.mp4           write FILE.qdx, with which the file opens faster

INPUT is any file or address that libavformat reads. Sound becomes 8 kHz, 8 bits, one channel.

  -f, --force    replace OUTPUT
  --live         the input has no end of its own: Ctrl-C or --seconds end the recording; so do
                 a camera that goes away and a full disk, and what came until then is kept
  --seconds N    record N seconds
  --no-sound     leave the sound out
  --timeout N    give up on an input that does not answer for N seconds (10)
  --version      the program's version
  -h, --help     this text

OUTPUT appears when it is complete, and not at all when anything fails.
Result: 0 recorded, 1 failed or interrupted, 2 wrong options, 3 a live recording ended by itself.
)";
}
