#include "tools/qxplay/RecordingName.h"

#include <algorithm>
#include <cctype>

namespace {

bool EndsIn(std::string_view name, std::string_view ending) {
  return name.size() >= ending.size() &&
         std::ranges::equal(name.substr(name.size() - ending.size()), ending, {},
                            [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
}

}  // namespace

bool IsOwnFormat(std::string_view name) {
  return EndsIn(name, ".sv4") || EndsIn(name, ".sv5") || EndsIn(name, ".sv6");
}

bool IsRecordedFile(std::string_view name) {
  return IsOwnFormat(name) || EndsIn(name, ".mp4");
}
