#include "file/MediaFileStream.h"

#include <algorithm>
#include <string_view>

#include "file/MP4FileStream.h"
#include "file/SVXFileStream.h"
#include "src/kitc/ThrowingAllocator.h"

namespace {

bool EndsWith(std::string_view name, std::string_view lowerCaseEnding) {
  const auto toLower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return name.size() >= lowerCaseEnding.size() &&
         std::ranges::equal(name.substr(name.size() - lowerCaseEnding.size()), lowerCaseEnding, {}, toLower);
}

std::shared_ptr<MediaFileStream> MakeReader(std::string_view name) {
  if (EndsWith(name, ".sv4") || EndsWith(name, ".sv5") || EndsWith(name, ".sv6"))
    return MakeShared<SVXFileStream>();
  if (EndsWith(name, ".mp4")) return MakeShared<MP4FileStream>();
  return nullptr;
}

}  // namespace

std::shared_ptr<MediaFileStream> MediaFileStream::OpenFile(const char* fileName) {
  if (fileName == nullptr) return nullptr;
  std::shared_ptr<MediaFileStream> reader = MakeReader(fileName);
  if (reader != nullptr && !reader->Open(fileName)) return nullptr;
  return reader;
}
