// A file that appears under its name whole, or not at all.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Written under a temporary name beside the wanted one. No locks; one thread.
class OutputFile {
 public:
  // Nothing is left of a file that was not committed.
  ~OutputFile();
  OutputFile() = default;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // All answer false when Error says why, and from then on, until CutBack.
  bool Open(const std::string& name);
  bool Append(std::span<const uint8_t> bytes);
  // Replaces bytes that were appended before.
  bool Overwrite(uint64_t offset, std::span<const uint8_t> bytes);
  // After a failure: forgets it, and everything behind `size`, which is at most BytesWritten.
  bool CutBack(uint64_t size);
  // Brings everything onto the disk, then under the wanted name. `replace`: a file of that name gives way.
  bool Commit(bool replace);

  uint64_t Bytes() const { return m_llBytes; }
  // How many of them have left this program, as far as they did without a failure.
  uint64_t BytesWritten() const { return m_llWritten; }
  // A sentence that begins with the file's name.
  const std::string& Error() const { return m_strError; }

 private:
  bool Flush();
  bool WriteAt(uint64_t offset, std::span<const uint8_t> bytes);
  bool MoveIntoPlace(bool replace);
  bool Fail(const std::string& what, int error);

  std::string m_strName;
  std::string m_strTemporary;  // empty: there is none on the disk
  int m_nFile = -1;
  uint64_t m_llBytes = 0;  // appended
  uint64_t m_llWritten = 0;
  std::vector<uint8_t> m_Buffer;  // the last of them, not yet written
  std::string m_strError;
};
