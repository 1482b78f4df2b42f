#include "codecs/qmp4pkg/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

std::optional<InputFile> InputFile::Open(const std::string& name) {
  std::string path = name;
  std::replace(path.begin(), path.end(), '\\', '/');
  // Without O_NONBLOCK a pipe of that name would wait for its other end.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return std::nullopt;
  InputFile file(descriptor, 0);
  struct stat facts = {};
  if (fstat(descriptor, &facts) != 0 || !S_ISREG(facts.st_mode)) return std::nullopt;
  file.m_nSize = facts.st_size;
  return file;
}

InputFile::~InputFile() {
  if (m_nDescriptor >= 0) close(m_nDescriptor);
}

InputFile::InputFile(InputFile&& other) noexcept
    : m_nDescriptor(std::exchange(other.m_nDescriptor, -1)), m_nSize(other.m_nSize) {}

InputFile& InputFile::operator=(InputFile&& other) noexcept {
  std::swap(m_nDescriptor, other.m_nDescriptor);
  std::swap(m_nSize, other.m_nSize);
  return *this;
}

size_t InputFile::ReadSome(int64_t position, void* buffer, size_t bytes) const {
  size_t done = 0;
  while (done < bytes) {
    const ssize_t got = pread(m_nDescriptor, static_cast<uint8_t*>(buffer) + done, bytes - done,
                              static_cast<off_t>(position + static_cast<int64_t>(done)));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<size_t>(got);
  }
  return done;
}
