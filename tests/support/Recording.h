// Builds a recording of the library's own format byte by byte.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>

// Recording(5).Add(1, "key").Add(0, "frame").Add(2, "sound").Save(path);
class Recording {
 public:
  // A header for 64 x 48 pixels. standard: 0 is 25 frames a second, anything else 30.
  explicit Recording(uint8_t version, uint32_t standard = 0)
      : m_Sync{'Q', 'X', 'S', static_cast<char>(version)} {
    m_Bytes = m_Sync + Word(64) + Word(48) + Word(0) + Word(standard) + std::string(24, '\x11') + Word(0) +
              std::string(16, '\x22');
  }
  // A whole record. type: 0, 4 video, 1 video key frame, 2 sound, 3 video without data; others are invalid.
  Recording& Add(uint32_t type, const std::string& payload) {
    if (type == 0 || type == 1 || type == 3 || type == 4) SetTotalFrames(++m_nFrames);
    return AddBytes(m_Sync + Word(static_cast<uint32_t>(payload.size()) << 4 | type) + payload);
  }
  Recording& AddBytes(const std::string& bytes) {
    m_Bytes += bytes;
    return *this;
  }
  Recording& SetTotalFrames(uint32_t count) {
    m_Bytes.replace(44, 4, Word(count));
    return *this;
  }
  const std::string& Sync() const { return m_Sync; }
  // With the four bytes behind the last record without which that is not read.
  std::string Bytes() const { return m_Bytes + m_Sync; }
  const std::string& Save(const std::string& path) const { return Write(path, Bytes()); }

  static const std::string& Write(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
  }
  static std::string Word(uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
      bytes += static_cast<char>(value >> shift);
    return bytes;
  }

 private:
  std::string m_Sync;
  std::string m_Bytes;
  uint32_t m_nFrames = 0;
};
