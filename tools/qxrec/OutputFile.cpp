#include "tools/qxrec/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr size_t kBufferBytes = 256 * 1024;
constexpr char kTemporaryEnding[] = ".XXXXXX.part";
constexpr int kTemporaryEndingKept = sizeof(".part") - 1;

// What a file made by open() would get; mkstemps keeps it to its owner.
mode_t UsualMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// A rename is on the disk only when its folder is. Some file systems cannot do that, and need not.
void SyncFolderOf(const std::string& name) {
  const size_t slash = name.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : name.substr(0, slash + 1);
  const int file = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (file < 0) return;
  fsync(file);
  close(file);
}

}  // namespace

OutputFile::~OutputFile() {
  if (m_nFile >= 0) close(m_nFile);
  if (!m_strTemporary.empty()) unlink(m_strTemporary.c_str());
}

bool OutputFile::Open(const std::string& name) {
  m_strName = name;
  m_Buffer.reserve(kBufferBytes);
  std::string temporary = name + kTemporaryEnding;
  m_nFile = mkostemps(temporary.data(), kTemporaryEndingKept, O_CLOEXEC);
  if (m_nFile < 0) return Fail("cannot be written", errno);
  m_strTemporary = temporary;
  fchmod(m_nFile, UsualMode());
  return true;
}

bool OutputFile::Append(std::span<const uint8_t> bytes) {
  if (!m_strError.empty()) return false;
  if (bytes.size() > kBufferBytes - m_Buffer.size() && !Flush()) return false;
  const uint64_t offset = m_llBytes;
  m_llBytes += bytes.size();
  if (bytes.size() > kBufferBytes) {
    if (!WriteAt(offset, bytes)) return false;
    m_llWritten = m_llBytes;
    return true;
  }
  m_Buffer.insert(m_Buffer.end(), bytes.begin(), bytes.end());
  return true;
}

bool OutputFile::Overwrite(uint64_t offset, std::span<const uint8_t> bytes) {
  return Flush() && WriteAt(offset, bytes);
}

bool OutputFile::CutBack(uint64_t size) {
  if (m_nFile < 0) return false;
  m_strError.clear();
  m_Buffer.clear();
  m_llBytes = m_llWritten = size;
  return ftruncate(m_nFile, static_cast<off_t>(size)) == 0 || Fail("cannot be cut", errno);
}

bool OutputFile::Commit(bool replace) {
  if (!Flush()) return false;
  if (fsync(m_nFile) != 0) return Fail("cannot be written", errno);
  // Some file systems tell only now that the disk is full.
  const int closed = close(m_nFile);
  m_nFile = -1;
  if (closed != 0) return Fail("cannot be written", errno);
  if (!MoveIntoPlace(replace)) return false;
  m_strTemporary.clear();
  SyncFolderOf(m_strName);
  return true;
}

bool OutputFile::MoveIntoPlace(bool replace) {
  const char* const from = m_strTemporary.c_str();
  const char* const to = m_strName.c_str();
  if (!replace) {
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return true;
    // Not every file system knows how not to replace.
    if (errno != EINVAL && errno != ENOSYS) return Fail("cannot be put in its place", errno);
    if (access(to, F_OK) == 0) return Fail("cannot be put in its place", EEXIST);
  }
  if (rename(from, to) != 0) return Fail("cannot be put in its place", errno);
  return true;
}

bool OutputFile::Flush() {
  if (!m_strError.empty() || !WriteAt(m_llBytes - m_Buffer.size(), m_Buffer)) return false;
  m_Buffer.clear();
  m_llWritten = m_llBytes;
  return true;
}

bool OutputFile::WriteAt(uint64_t offset, std::span<const uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = pwrite(m_nFile, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return Fail("cannot be written", count < 0 ? errno : EIO);
    offset += static_cast<uint64_t>(count);
    bytes = bytes.subspan(static_cast<size_t>(count));
  }
  return true;
}

bool OutputFile::Fail(const std::string& what, int error) {
  m_strError = m_strName + ": " + what + ": " + strerror(error);
  return false;
}
