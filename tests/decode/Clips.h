// Clips that the build makes, and what FFmpeg's own program decodes from them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// The bytes of a file in the clip folder.
inline Bytes ReadClip(const std::string& name) {
  std::ifstream file(QX_CLIPS + name, std::ios::binary);
  EXPECT_TRUE(file) << name;
  return Bytes(std::istreambuf_iterator<char>(file), {});
}
