#include "src/kitc/Directory.h"

#include <algorithm>
#include <cstring>

#include "platform/Kernel.h"

namespace {

constexpr size_t kPathBytes = 1024;

bool Exists(const char* path) {
  return GetFileAttributesA(path) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace

String kitc_executable_directory() {
  // Far more than MAX_PATH: a cut path would name another directory.
  char path[4096] = {};
  const DWORD length = GetModuleFileNameA(nullptr, path, sizeof path);
  if (length == 0 || length >= sizeof path) return {};
  const String file(path);
  const size_t separator = file.find_last_of("/\\");
  return separator != String::npos ? file.substr(0, separator) : String();
}

int kitc_mkdir_recursive(const char* path) {
  const size_t length = path != nullptr ? std::strlen(path) : 0;
  if (length == 0 || length >= kPathBytes) return -1;
  char parent[kPathBytes];
  std::replace_copy(path, path + length + 1, parent, '\\', '/');
  // From the right, separators are cut off (made terminators) until what is left exists; from there on, they
  // are put back one by one.
  bool exists = false;
  for (char* slash; !exists && (slash = std::strrchr(parent, '/')) != nullptr;) {
    *slash = '\0';
    exists = Exists(parent);
  }
  for (size_t done = std::strlen(parent); done < length; done = std::strlen(parent)) {
    if (!exists) CreateDirectoryA(parent, nullptr);
    exists = false;
    parent[done] = '/';
  }
  return CreateDirectoryA(path, nullptr) ? 0 : -1;
}
