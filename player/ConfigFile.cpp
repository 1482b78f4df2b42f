#include "player/ConfigFile.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>

#include "platform/Kernel.h"

namespace {

constexpr size_t kMaxFileBytes = 1 << 20;  // a file that is larger is no configuration
constexpr std::string_view kTrimmed = " \n\t\v\r\f";

std::string_view Trim(std::string_view text) {
  const size_t first = text.find_first_not_of(kTrimmed);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kTrimmed) - first + 1);
}

std::string_view WithoutComment(std::string_view line) {
  return line.substr(0, line.find('#'));
}

// The text's lines, one after the other; a line can be looked at before it is taken.
class LineReader {
 public:
  explicit LineReader(std::string_view text) : m_Rest(text) {}

  std::optional<std::string_view> Peek() const {
    if (m_Rest.empty()) return std::nullopt;
    return m_Rest.substr(0, m_Rest.find('\n'));
  }
  void Take() {
    const size_t end = m_Rest.find('\n');
    m_Rest = end == std::string_view::npos ? std::string_view() : m_Rest.substr(end + 1);
  }

 private:
  std::string_view m_Rest;
};

void AppendContinuation(LineReader& lines, String& value) {
  for (auto line = lines.Peek(); line; line = lines.Peek()) {
    const std::string_view text = WithoutComment(*line);
    if (Trim(*line).empty() || text.find('=') != std::string_view::npos) return;
    if (!Trim(text).empty()) value.append("\n").append(text);
    lines.Take();
  }
}

}  // namespace

bool ConfigFile::Load(const char* path) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(PlatformOpenFile(path, "r"), std::fclose);
  if (file == nullptr) return false;
  String text(kMaxFileBytes, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), file.get()));
  if (std::ferror(file.get()) != 0) return false;
  Parse(text);
  return true;
}

void ConfigFile::Parse(std::string_view text) {
  LineReader lines(text);
  for (auto line = lines.Peek(); line; line = lines.Peek()) {
    lines.Take();
    const std::string_view content = WithoutComment(*line);
    const size_t equals = content.find('=');
    if (equals == std::string_view::npos) continue;
    String value(content.substr(equals + 1));
    AppendContinuation(lines, value);
    m_Values[String(Trim(content.substr(0, equals)))] = Trim(value);
  }
}

int32_t ConfigFile::GetInteger(std::string_view key, int32_t missing) const {
  const auto found = m_Values.find(key);
  if (found == m_Values.end()) return missing;
  std::string_view digits = found->second;
  const bool negative = !digits.empty() && digits.front() == '-';
  if (negative || (!digits.empty() && digits.front() == '+')) digits.remove_prefix(1);
  digits = digits.substr(0, std::min(digits.find_first_not_of("0123456789"), digits.size()));
  if (digits.empty()) return missing;

  constexpr int64_t kBeyond = int64_t{1} << 32;
  int64_t number = 0;
  for (const char digit : digits)
    number = std::min(number * 10 + (digit - '0'), kBeyond);
  if (negative) number = -number;
  return static_cast<int32_t>(
      std::clamp<int64_t>(number, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}
