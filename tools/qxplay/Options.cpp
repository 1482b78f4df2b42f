#include "tools/qxplay/Options.h"

#include <charconv>
#include <limits>
#include <numeric>

#include "tools/qxplay/OverlayText.h"

namespace {

constexpr int kMaxPlayers = 512;  // of the library
constexpr std::string_view kLogLevels[] = {"all", "debug", "info", "notify", "warning", "error", "none"};

std::optional<int64_t> ParseInteger(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    text.remove_prefix(2);
    base = 16;
  }
  int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::optional<FrameRate> Reduce(int64_t num, int64_t den) {
  if (num <= 0 || den <= 0) return std::nullopt;
  const int64_t divisor = std::gcd(num, den);
  num /= divisor;
  den /= divisor;
  constexpr int64_t kMost = std::numeric_limits<uint16_t>::max();
  if (num > kMost || den > kMost) return std::nullopt;
  return FrameRate{static_cast<uint16_t>(num), static_cast<uint16_t>(den)};
}

// Walks the arguments; the first thing that is wrong ends the walk.
class Parser {
 public:
  explicit Parser(std::span<const std::string_view> arguments) : m_Arguments(arguments) {}

  std::variant<Options, std::string> Run() {
    while (m_nNext < m_Arguments.size() && m_strError.empty())
      TakeArgument(m_Arguments[m_nNext++]);
    if (m_strError.empty() && !m_Options.help) CheckWhole();
    if (!m_strError.empty()) return m_strError;
    return m_Options;
  }

 private:
  void TakeArgument(std::string_view argument) {
    if (m_bOnlySources || argument == "-" || !argument.starts_with('-')) {
      m_Options.sources.emplace_back(argument);
      return;
    }
    if (argument == "--") {
      m_bOnlySources = true;
      return;
    }
    m_Value.reset();
    const size_t equals = argument.find('=');
    if (equals != std::string_view::npos) m_Value = argument.substr(equals + 1);
    m_Name = argument.substr(0, equals);
    if (TakeFlag() || TakeNumber() || TakeText()) return;
    Fail("unknown option " + std::string(m_Name));
  }

  bool TakeFlag() {
    bool* flag = m_Name == "--live"                       ? &m_Options.live
                 : m_Name == "--probe"                    ? &m_Options.probe
                 : m_Name == "--thumbs"                   ? &m_Options.thumbs
                 : m_Name == "--loop"                     ? &m_Options.loop
                 : m_Name == "--headless"                 ? &m_Options.headless
                 : m_Name == "--no-sheet"                 ? &m_Options.noSheet
                 : (m_Name == "--help" || m_Name == "-h") ? &m_Options.help
                                                          : nullptr;
    if (!flag) return false;
    if (m_Value) Fail(std::string(m_Name) + " takes no value");
    *flag = true;
    return true;
  }

  bool TakeNumber() {
    if (m_Name == "--copies") return Number(m_Options.copies, 1, kMaxPlayers);
    if (m_Name == "--seconds") return Number(m_Options.seconds, 1, 7 * 24 * 3600);
    if (m_Name == "--timeout") return Number(m_Options.timeoutSeconds, 1, 3600);
    if (m_Name != "--mode") return false;
    int mode = 0;
    Number(mode, 0, 0xFF);
    if (m_strError.empty() && mode != 0x10 && (mode < 0x20 || mode > 0x30)) {
      Fail("--mode must be 0x10 (no pacing), 0x20 to 0x2f (buffer 0 to 3000 ms) or 0x30 (catch up only)");
    }
    m_Options.mode = static_cast<uint32_t>(mode);
    return true;
  }

  bool TakeText() {
    if (m_Name == "--sheet") {
      m_Options.sheet = Value();
    } else if (m_Name == "--headless-sheet") {
      m_Options.headlessSheet = Value();
    } else if (m_Name == "--log-dir") {
      m_Options.logDir = Value();
    } else if (m_Name == "--snapshots") {
      m_Options.snapshotDir = Value();
    } else if (m_Name == "--osd") {
      TakeOsd();
    } else if (m_Name == "--log") {
      TakeLogLevel();
    } else if (m_Name == "--fps") {
      const std::string_view text = Value();
      m_Options.frameRate = ParseFrameRate(text);
      if (!m_Options.frameRate)
        Fail("--fps: " + std::string(text) + " is no frame rate; say 25, 29.97 or 30000/1001");
    } else if (m_Name == "--size") {
      TakeSize();
    } else {
      return false;
    }
    return true;
  }

  void TakeOsd() {
    const std::string_view text = Value();
    const auto bytes = ToGb2312(text);
    if (!bytes) return Fail("--osd: " + std::string(text) + " has characters that GB2312 does not have");
    m_Options.osd.push_back(*bytes);
  }

  void TakeLogLevel() {
    const std::string_view text = Value();
    const auto number = ParseInteger(text);
    for (size_t i = 0; i < std::size(kLogLevels); ++i) {
      if (text != kLogLevels[i] && number != static_cast<int64_t>(i)) continue;
      m_Options.logLevel = static_cast<int>(i);
      return;
    }
    Fail("--log: " + std::string(text) + " is no level; say debug, info, warning, error or none");
  }

  void TakeSize() {
    const std::string_view text = Value();
    const size_t cross = text.find('x');
    const auto width = ParseInteger(text.substr(0, cross));
    const auto height = cross == std::string_view::npos ? std::nullopt : ParseInteger(text.substr(cross + 1));
    constexpr int kLeast = 16, kMost = 16384;
    if (!width || !height || *width < kLeast || *height < kLeast || *width > kMost || *height > kMost) {
      Fail("--size: " + std::string(text) + " is no window size; say 1280x720");
      return;
    }
    m_Options.width = static_cast<int>(*width);
    m_Options.height = static_cast<int>(*height);
  }

  bool Number(int& target, int least, int most) {
    const std::string_view text = Value();
    const auto value = ParseInteger(text);
    if (value && *value >= least && *value <= most) {
      target = static_cast<int>(*value);
    } else {
      Fail(std::string(m_Name) + ": " + std::string(text) + " is not a number from " + std::to_string(least) +
           " to " + std::to_string(most));
    }
    return true;
  }

  // The text after "=" or the next argument.
  std::string_view Value() {
    if (!m_Value && m_nNext < m_Arguments.size()) m_Value = m_Arguments[m_nNext++];
    if (!m_Value || m_Value->empty()) Fail(std::string(m_Name) + " needs a value");
    return m_Value.value_or("");
  }

  void CheckWhole() {
    if (m_Options.probe && m_Options.thumbs) return Fail("--probe and --thumbs exclude each other");
    if (m_Options.thumbs && m_Options.sources.size() != 2)
      return Fail("--thumbs takes a file and where its sheet goes: FILE OUT.png");
    if (m_Options.sources.empty()) return Fail("no source given: name a file or an rtsp:// address");
    for (const std::string& source : m_Options.sources) {
      if (source.empty()) return Fail("a source with an empty name");
    }
    if (m_Options.sources.size() > static_cast<size_t>(kMaxPlayers / m_Options.copies)) {
      return Fail("more than " + std::to_string(kMaxPlayers) + " players");
    }
    if (m_Options.noSheet && !m_Options.sheet.empty())
      return Fail("--sheet and --no-sheet exclude each other");
  }

  // Keeps the first complaint.
  void Fail(std::string text) {
    if (m_strError.empty()) m_strError = std::move(text);
  }

  std::span<const std::string_view> m_Arguments;
  size_t m_nNext = 0;
  bool m_bOnlySources = false;
  std::string_view m_Name;                  // of the option at hand
  std::optional<std::string_view> m_Value;  // of the option at hand, as far as known
  Options m_Options;
  std::string m_strError;
};

}  // namespace

std::variant<Options, std::string> ParseOptions(std::span<const std::string_view> arguments) {
  return Parser(arguments).Run();
}

std::optional<FrameRate> ParseFrameRate(std::string_view text) {
  const size_t slash = text.find('/');
  if (slash != std::string_view::npos) {
    const auto num = ParseInteger(text.substr(0, slash));
    const auto den = ParseInteger(text.substr(slash + 1));
    return num && den ? Reduce(*num, *den) : std::nullopt;
  }
  const size_t point = text.find('.');
  const auto whole = ParseInteger(text.substr(0, point));
  if (!whole || *whole < 0 || *whole > std::numeric_limits<uint16_t>::max()) return std::nullopt;
  if (point == std::string_view::npos) return Reduce(*whole, 1);
  int64_t num = *whole, den = 1;
  const std::string_view decimals = text.substr(point + 1);
  if (decimals.empty() || decimals.size() > 6) return std::nullopt;
  for (const char digit : decimals) {
    if (digit < '0' || digit > '9') return std::nullopt;
    num = num * 10 + (digit - '0');
    den *= 10;
  }
  return Reduce(num, den);
}

std::string_view UsageText() {
  return R"(qxplay plays recordings, video files and network cameras.

  qxplay SOURCE...
  qxplay --probe FILE...          tell frame count, size, frame rate and key frames of recordings
  qxplay --thumbs FILE OUT.png    make a sheet of key frames of an .mp4

SOURCE is a recording (.mp4, .sv4, .sv5 or .sv6), which the player library opens by itself, or anything else
with H.264 or H.265 video: an rtsp:// address, an .mkv, .avi, .h264 or .h265 file. That is read here and
played as a live stream. Several sources make a grid.

  --live           play recordings as live streams, too: push their frames at the pace of their
                   timestamps, as a camera does
  --loop           begin again when a source ends
  --copies N       show every source N times
  --seconds N      end after N seconds
  --mode MODE      frame control of live streams: 0x10 show at once, 0x20 to 0x2f keep 0 to 3000 ms buffered
                   (0x20 is the default), 0x30 only catch up when the queue fills
  --fps RATE       live streams: 25, 29.97 or 30000/1001 instead of the source's own timestamps;
                   without sound
  --size WxH       size of the window (1280x720)
  --headless       no window; show progress and leave a contact sheet. Also without a display
  --sheet FILE     write a contact sheet (PNG) of what was presented
  --headless-sheet FILE
                   where it goes without a window when --sheet names no file (contact-sheet.png)
  --no-sheet       write none
  --osd TEXT       a line of text in the pictures, Chinese too; several make several lines
  --snapshots DIR  where key s saves snapshots (the current directory)
  --timeout N      give up on a source that does not answer for N seconds (10)
  --log LEVEL      library log file: debug, info, warning, error, none (none)
  --log-dir DIR    where it lies (qxsdkplog)
  -h, --help       this text

Keys, in the window and on the terminal:
  space  pause, and go on; after the end: from the start     .      one picture on
  [ ]    half and twice the speed; sound at 1x only          k      key frames only, and back
  left   to the key frame before                             right  to the key frame after
  0 - 9  to so many tenths of the recording                  m      mute, and back
  + -    zoom in and out at the mouse (or wheel, and drag)   z      the whole picture
  w      sub window with the whole picture, and back         c      crop 16 columns and 8 rows, and back
  d      statistics of a live stream, and back               i      process the pictures, and back
  s      save a snapshot                                     f      full screen, and back
  tab    next tile (or click): keys and sound for it alone   r      redraw
  q Esc  end
A double click shows one tile of a grid in full size, and all again. The keys work on all tiles until one is
selected, sound comes from the first. Live streams know neither pause, speed nor places. At the end of the
recordings the window stays until q.
Result: 0 played, 1 a source failed or nothing was presented, 2 wrong options.
)";
}
