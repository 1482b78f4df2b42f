// The configuration file's syntax.
#include "player/ConfigFile.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr int32_t kMissing = -77;

int32_t Read(std::string_view text, const std::string& key) {
  ConfigFile file;
  file.Parse(text);
  return file.GetInteger(key, kMissing);
}

}  // namespace

TEST(ConfigFile, KeysValuesAndComments) {
  EXPECT_EQ(Read("FileLogLevel = 2   # info\n", "FileLogLevel"), 2);
  EXPECT_EQ(Read("\t FileLogLevel\t=\t2\r\n", "FileLogLevel"), 2);
  EXPECT_EQ(Read("FileLogLevel=2", "FileLogLevel"), 2);
  EXPECT_EQ(Read("viewlock=0\n", "ViewLock"), kMissing);
  EXPECT_EQ(Read("# ViewLock=0\n", "ViewLock"), kMissing);
  EXPECT_EQ(Read("View#Lock=0\n", "View"), kMissing);
  EXPECT_EQ(Read("a=1\na=2\n", "a"), 2);
  EXPECT_EQ(Read("a=1=2\n", "a"), 1);
  EXPECT_EQ(Read("", "a"), kMissing);
}

TEST(ConfigFile, ContinuationLines) {
  EXPECT_EQ(Read("ViewLock=0\n[Log]\nFileLogLevel=2\n", "ViewLock"), 0);
  EXPECT_EQ(Read("ViewLock=0\n[Log]\nFileLogLevel=2\n", "FileLogLevel"), 2);
  // The number may stand on a continuation line; a blank line ends the value, a comment line does not.
  EXPECT_EQ(Read("a=\n  5\n", "a"), 5);
  EXPECT_EQ(Read("a=\n# five\n5\n", "a"), 5);
  EXPECT_EQ(Read("a=\n\n5\n", "a"), kMissing);
  EXPECT_EQ(Read("a=\n  \t\r\n5\n", "a"), kMissing);
}

TEST(ConfigFile, NumbersAreReadUpToTheFirstOtherCharacter) {
  EXPECT_EQ(Read("a=12abc\n", "a"), 12);
  EXPECT_EQ(Read("a=0x10\n", "a"), 0);
  EXPECT_EQ(Read("a=-3\n", "a"), -3);
  EXPECT_EQ(Read("a=+3\n", "a"), 3);
  EXPECT_EQ(Read("a=yes\n", "a"), kMissing);
  EXPECT_EQ(Read("a=-\n", "a"), kMissing);
  EXPECT_EQ(Read("a=\n", "a"), kMissing);
  EXPECT_EQ(Read("a=99999999999999999999999\n", "a"), std::numeric_limits<int32_t>::max());
  EXPECT_EQ(Read("a=-99999999999999999999999\n", "a"), std::numeric_limits<int32_t>::min());
}

TEST(ConfigFile, AMissingFileChangesNothing) {
  ConfigFile file;
  file.Parse("a=1\n");
  EXPECT_FALSE(file.Load("/nowhere/QXSDKP.ini"));
  EXPECT_EQ(file.GetInteger("a", kMissing), 1);
}
