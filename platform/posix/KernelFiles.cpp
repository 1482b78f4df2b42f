// Paths, directories and plain files for POSIX systems; `\` counts as `/`.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>

#include "platform/Kernel.h"
#include "platform/posix/SigpipeBlock.h"

namespace {

// A path in this system's notation. Empty, which no system call accepts, when the given one is null or longer
// than the system allows.
class NativePath {
 public:
  explicit NativePath(const char* path) {
    const size_t length = path != nullptr ? strnlen(path, sizeof m_szPath) : 0;
    m_nError = path == nullptr ? EINVAL : length == sizeof m_szPath ? ENAMETOOLONG : 0;
    if (m_nError == 0) std::replace_copy(path, path + length, m_szPath, '\\', '/');
    m_szPath[m_nError == 0 ? length : 0] = '\0';
  }

  // False, with errno set, when there is no usable path.
  bool Valid() const {
    if (m_nError != 0) errno = m_nError;
    return m_nError == 0;
  }
  const char* Text() const { return m_szPath; }

 private:
  char m_szPath[PATH_MAX];
  int m_nError;
};

}  // namespace

DWORD GetModuleFileNameA(HMODULE module, char* path, DWORD capacity) {
  if (module != nullptr || path == nullptr || capacity == 0) {
    errno = EINVAL;
    return 0;
  }
  const ssize_t length = readlink("/proc/self/exe", path, capacity);
  if (length < 0) return 0;
  if (static_cast<size_t>(length) < capacity) {
    path[length] = '\0';
    return static_cast<DWORD>(length);
  }
  path[capacity - 1] = '\0';
  errno = ERANGE;
  return capacity;
}

BOOL CreateDirectoryA(const char* path, void*) {
  const NativePath native(path);
  return native.Valid() && mkdir(native.Text(), 0777) == 0 ? TRUE : FALSE;
}

DWORD GetFileAttributesA(const char* path) {
  const NativePath native(path);
  struct stat status {};
  if (!native.Valid() || stat(native.Text(), &status) != 0) return INVALID_FILE_ATTRIBUTES;
  return S_ISDIR(status.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
}

std::FILE* PlatformOpenFile(const char* path, const char* mode) {
  const NativePath native(path);
  if (!native.Valid()) return nullptr;
  char modeAndFlags[16] = {};
  if (mode == nullptr || strnlen(mode, sizeof modeAndFlags) > sizeof modeAndFlags - 2) {
    errno = EINVAL;
    return nullptr;
  }
  std::snprintf(modeAndFlags, sizeof modeAndFlags, "%se", mode);  // e: closed in child processes
  return std::fopen(native.Text(), modeAndFlags);
}

void PlatformWriteStandardOutput(const char* text) {
  const platform::SigpipeBlock block;
  std::fputs(text, stdout);
  std::fflush(stdout);
}
