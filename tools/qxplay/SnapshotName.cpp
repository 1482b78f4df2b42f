#include "tools/qxplay/SnapshotName.h"

#include <cstdio>
#include <ctime>
#include <string_view>

namespace {

// The file's name without its ending, or of an address what follows its user.
std::string_view LastPart(std::string_view source) {
  const size_t scheme = source.find("://");
  if (scheme == std::string_view::npos) {
    source = source.substr(source.find_last_of('/') + 1);
    const size_t dot = source.find_last_of('.');
    return dot == 0 ? source : source.substr(0, dot);
  }
  source = source.substr(scheme + 3);
  source = source.substr(0, source.find_first_of("?#"));
  return source.substr(source.find_last_of('@') + 1);
}

}  // namespace

std::string SnapshotName(const std::string& source, std::chrono::system_clock::time_point time) {
  constexpr size_t kMostBytes = 100;  // file systems allow 255, the time and an ending included
  std::string name;
  for (const char letter : LastPart(source).substr(0, kMostBytes)) {
    const auto byte = static_cast<unsigned char>(letter);
    const bool plain = (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
                       (byte >= 'a' && byte <= 'z') || byte >= 0x80 || letter == '_';
    name += plain ? letter : '-';
  }
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  localtime_r(&seconds, &local);
  char moment[32];
  strftime(moment, sizeof(moment), "-%Y%m%d-%H%M%S", &local);
  char thousandths[8];
  snprintf(thousandths, sizeof(thousandths), "-%03d", static_cast<int>(ms % 1000));
  return name + moment + thousandths;
}
