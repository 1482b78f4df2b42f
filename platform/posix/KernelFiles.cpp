// Paths, directories and plain files for POSIX systems; `\` counts as `/`.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

#include "platform/Kernel.h"
#include "platform/posix/KernelObject.h"
#include "platform/posix/KernelSeam.h"
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

// What a file handle points at.
struct FileHandle : platform::KernelObject {
  explicit FileHandle(int openDescriptor) : nDescriptor(openDescriptor) {}
  ~FileHandle() override { close(nDescriptor); }

  int nDescriptor;
};

// Null, with errno set, for what is no file handle.
FileHandle* ToFile(HANDLE handle) {
  auto* file = dynamic_cast<FileHandle*>(platform::ToKernelObject(handle));
  if (file == nullptr) errno = EBADF;
  return file;
}

// Pipes, sockets and terminals would wait for a writer, and directories cannot be read.
bool IsPlainFile(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) return false;
  if (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode)) return true;
  errno = S_ISDIR(status.st_mode) ? EISDIR : ENODEV;
  return false;
}

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

HANDLE CreateFileA(const char* path, DWORD access, DWORD, void*, DWORD disposition, DWORD, HANDLE) {
  if (access != GENERIC_READ || disposition != OPEN_EXISTING) {
    errno = EINVAL;
    return INVALID_HANDLE_VALUE;
  }
  const NativePath native(path);
  const int descriptor = native.Valid() ? open(native.Text(), O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1;
  if (descriptor < 0) return INVALID_HANDLE_VALUE;
  FileHandle* const file = IsPlainFile(descriptor) ? new (std::nothrow) FileHandle(descriptor) : nullptr;
  if (file != nullptr) return platform::ToHandle(file);
  const int error = errno;
  close(descriptor);
  errno = error;
  return INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD bytes, DWORD* bytesRead, void*) {
  *bytesRead = 0;
  const FileHandle* const source = ToFile(file);
  if (source == nullptr) return FALSE;
  intptr_t count = 0;
  do {
    count = platform::CurrentKernelSeam().ReadFile(source->nDescriptor, buffer, bytes);
  } while (count < 0 && errno == EINTR);
  if (count < 0) return FALSE;
  *bytesRead = static_cast<DWORD>(count);
  return TRUE;
}

DWORD SetFilePointer(HANDLE file, LONG low, LONG* high, DWORD method) {
  const FileHandle* const target = ToFile(file);
  if (target == nullptr) return INVALID_SET_FILE_POINTER;
  const int64_t distance =
      high != nullptr ? static_cast<int64_t>(*high) * (int64_t{1} << 32) + static_cast<DWORD>(low) : low;
  if (method != FILE_BEGIN || distance < 0) {
    errno = EINVAL;
    return INVALID_SET_FILE_POINTER;
  }
  const off_t position = lseek(target->nDescriptor, distance, SEEK_SET);
  if (position < 0) return INVALID_SET_FILE_POINTER;
  if (high != nullptr) *high = static_cast<LONG>(position >> 32);
  return static_cast<DWORD>(position);
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
