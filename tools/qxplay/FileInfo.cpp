#include "tools/qxplay/FileInfo.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <fstream>

#include "include/qxsdkp.h"
#include "tools/qxplay/AccessUnitSource.h"

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

FileInfo ReadFileInfo(const std::string& file) {
  FileInfo info;
  if (IsOwnFormat(file)) {
    QXSP_SHORT_HEADER header{};
    std::ifstream(file, std::ios::binary).read(reinterpret_cast<char*>(&header), sizeof(header));
    const bool own = std::memcmp(header.szMagic, "QXS", sizeof(header.szMagic)) == 0;
    if (!own || header.dwWidth > 10000 || header.dwHeight > 10000) return info;
    info.width = static_cast<int>(header.dwWidth);
    info.height = static_cast<int>(header.dwHeight);
    info.frameRate = {.num = static_cast<uint16_t>(header.dwVideoStandard == 0 ? 25 : 30), .den = 1};
    return info;
  }
  constexpr int kTimeoutSeconds = 10;
  AccessUnitSource source(file, kTimeoutSeconds, std::nullopt, [] { return false; });
  if (!source.Open()) return info;
  return {.width = source.Info().width, .height = source.Info().height, .frameRate = source.Info().frameRate};
}
