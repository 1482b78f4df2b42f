// The configuration file's syntax.
#include "player/ConfigFile.h"

#include <gtest/gtest.h>

#include <limits>

TEST(ConfigFile, KeysAndNumbers) {
  constexpr int32_t kMissing = -77;
  const struct {
    const char* text;
    int32_t value;  // of the key "a"
  } kCases[] = {
      {"", kMissing},
      {"a = 2   # info\n", 2},
      {"\t a\t=\t2\r\n", 2},
      {"a=2", 2},
      {"A=0\n", kMissing},
      {"# a=0\n", kMissing},
      {"a#b=0\n", kMissing},
      {"a=1\na=2\n", 2},
      {"a=1=2\n", 1},
      // A line without "=" continues the value; a blank line ends it, a comment line does not.
      {"a=0\n[Log]\nb=2\n", 0},
      {"b=0\n[Log]\na=2\n", 2},
      {"a=\n  5\n", 5},
      {"a=\n# five\n5\n", 5},
      {"a=\n\n5\n", kMissing},
      {"a=\n  \t\r\n5\n", kMissing},
      // Numbers are read up to the first other character.
      {"a=12abc\n", 12},
      {"a=0x10\n", 0},
      {"a=-3\n", -3},
      {"a=+3\n", 3},
      {"a=yes\n", kMissing},
      {"a=-\n", kMissing},
      {"a=99999999999999999999999\n", std::numeric_limits<int32_t>::max()},
      {"a=-99999999999999999999999\n", std::numeric_limits<int32_t>::min()},
  };
  for (const auto& item : kCases) {
    ConfigFile file;
    file.Parse(item.text);
    EXPECT_EQ(file.GetInteger("a", kMissing), item.value) << item.text;
    EXPECT_FALSE(file.Load("/nowhere/QXSDKP.ini"));  // and changes nothing
    EXPECT_EQ(file.GetInteger("a", kMissing), item.value) << item.text;
  }
}
