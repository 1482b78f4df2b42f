#include "src/kitc/Directory.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/TempDir.h"

namespace {

namespace fs = std::filesystem;

TEST(Directory, MakesMissingParentsFirst) {
  const TempDir temp;
  EXPECT_EQ(kitc_mkdir_recursive((temp / "new1/new2").c_str()), 0);
  EXPECT_TRUE(fs::is_directory(temp / "new1/new2"));
  EXPECT_EQ(kitc_mkdir_recursive((temp / "new1/new2").c_str()), -1) << "it was there already";
  EXPECT_EQ(kitc_mkdir_recursive((temp / "w1\\w2/w3\\w4").c_str()), 0);
  EXPECT_TRUE(fs::is_directory(temp / "w1/w2/w3/w4"));
  EXPECT_EQ(kitc_mkdir_recursive((temp / "d1//d2").c_str()), 0);
  EXPECT_TRUE(fs::is_directory(temp / "d1/d2"));

  // The last component is empty: its creation fails, but everything in front of it was made.
  EXPECT_EQ(kitc_mkdir_recursive((temp / "t1/t2/").c_str()), -1);
  EXPECT_TRUE(fs::is_directory(temp / "t1/t2"));
}

TEST(Directory, RelativePathsCountFromTheWorkingDirectory) {
  const TempDir temp;
  const fs::path before = fs::current_path();
  fs::current_path(temp.Path());
  EXPECT_EQ(kitc_mkdir_recursive("single"), 0);
  EXPECT_EQ(kitc_mkdir_recursive("a\\b"), 0);
  fs::current_path(before);
  EXPECT_TRUE(fs::is_directory(temp / "single"));
  EXPECT_TRUE(fs::is_directory(temp / "a/b"));
}

TEST(Directory, RefusesWhatCannotBeMade) {
  const TempDir temp;
  std::ofstream(temp / "file") << "x";
  EXPECT_EQ(kitc_mkdir_recursive((temp / "file/below").c_str()), -1);
  EXPECT_EQ(kitc_mkdir_recursive(""), -1);
  EXPECT_EQ(kitc_mkdir_recursive(nullptr), -1);
  EXPECT_EQ(kitc_mkdir_recursive("/"), -1);
}

TEST(Directory, TakesPathsUpTo1023Characters) {
  const TempDir temp;
  std::string path = temp.Path().string();
  while (path.size() < 1000)
    path += "/deep";
  path += "/" + std::string(1023 - path.size() - 1, 'x');
  ASSERT_EQ(path.size(), 1023u);
  EXPECT_EQ(kitc_mkdir_recursive((path + "y").c_str()), -1);
  EXPECT_FALSE(fs::exists(temp / "deep")) << "refused as a whole";
  EXPECT_EQ(kitc_mkdir_recursive(path.c_str()), 0);
  EXPECT_TRUE(fs::is_directory(path));
}

TEST(Directory, KnowsWhereTheExecutableLies) {
  EXPECT_EQ(kitc_executable_directory(), fs::read_symlink("/proc/self/exe").parent_path().string());
}

}  // namespace
