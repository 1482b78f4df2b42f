// A regular file that is read at any place, whatever happens to it meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

class InputFile {
 public:
  // Either separator counts, as everywhere in the library. Nothing but a regular file opens.
  static std::optional<InputFile> Open(const std::string& name);

  ~InputFile();
  InputFile(InputFile&& other) noexcept;
  InputFile& operator=(InputFile&& other) noexcept;

  // Bytes when it was opened.
  int64_t Size() const { return m_nSize; }
  // Up to `bytes` from `position` on; fewer at the end of the file or after an error.
  size_t ReadSome(int64_t position, void* buffer, size_t bytes) const;
  // All or false.
  bool Read(int64_t position, void* buffer, size_t bytes) const {
    return ReadSome(position, buffer, bytes) == bytes;
  }

 private:
  InputFile(int descriptor, int64_t size) : m_nDescriptor(descriptor), m_nSize(size) {}

  int m_nDescriptor;
  int64_t m_nSize;
};
