// Reads a file of key = value lines with # comments and continuation lines.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string_view>

#include "src/kitc/ThrowingAllocator.h"

// Keys are compared exactly; a key that occurs twice keeps the later value. There are no sections.
class ConfigFile {
 public:
  // False when the file cannot be opened or read; nothing is changed then. At most the first 1 MiB is read.
  bool Load(const char* path);
  void Parse(std::string_view text);
  // The leading decimal number of the key's value, cut to 32 bits; `missing` when there is no such key or no
  // number.
  int32_t GetInteger(std::string_view key, int32_t missing) const;

 private:
  std::map<String, String, std::less<>, ThrowingAllocator<std::pair<const String, String>>> m_Values;
};
