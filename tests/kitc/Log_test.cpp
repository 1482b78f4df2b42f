// What a log line looks like, which sinks it reaches, and the directories that are made for it.
#include "src/kitc/Log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <latch>
#include <numeric>
#include <set>
#include <sstream>
#include <thread>

#include "src/kitc/Directory.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestSeam.h"

namespace {

namespace fs = std::filesystem;

const std::string kTime = "09:05:03.042 ";
const std::string kToday = "2024-03-07.txt";

// Local time is what the test says; 7 March 2024, 09:05:03.042 to begin with.
class LogSeam : public TestSeam {
 public:
  LogSeam() : TestSeam(kByDerived) { Install(); }
  ~LogSeam() override { Remove(); }
  void LocalTime(SYSTEMTIME* now) override { *now = m_Now; }
  SYSTEMTIME m_Now{2024, 3, 4, 7, 9, 5, 3, 42};
};

// Logs before main(), when neither this file's nor the log's statics are sure to be built.
const std::string g_BeforeMain = [] {
  LogSeam seam;
  kitc_log(kLogAll, "Early.cpp", 1, "early");
  return seam.TakeText().at(0);
}();

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

class LogTest : public testing::Test {
 protected:
  LogTest() { kitc_log_config(kLogAll, m_Dir.Path().c_str(), kLogAll); }
  ~LogTest() override { kitc_log_config(kLogNone, nullptr, kLogNone); }
  std::string TakeText() {
    const std::vector<std::string> lines = m_Seam.TakeText();
    return std::accumulate(lines.begin(), lines.end(), std::string());
  }
  TempDir m_Dir;
  LogSeam m_Seam;
};

TEST_F(LogTest, NamesTheSourceFile) {
  EXPECT_EQ(g_BeforeMain, kTime + "all: Early.cpp(1): early\n");
  for (const char* source : {"a\\b/c.cpp", "a/b\\c.cpp", "c.cpp"})
    kitc_log(kLogError, source, -1, "decodeid:%d,name:%s\n", 7, "gate");
  const std::string line = kTime + "error: c.cpp(-1): decodeid:7,name:gate\n\n";
  EXPECT_EQ(TakeText(), line + line + line);
  kitc_log(kLogInfo, nullptr, 1, "x");
  EXPECT_EQ(TakeText(), kTime + "info: (1): x\n");
}

TEST_F(LogTest, EachSinkHasItsThreshold) {
  const char* const names[] = {"all", "debug", "info", "notify", "warning", "error", "none"};
  const auto lines = [&](int32_t threshold) {
    std::string text;
    for (int32_t level = threshold; level <= kLogNone; ++level)
      text += kTime + names[level] + ": f(" + std::to_string(level) + "): \n";
    return text;
  };
  const std::string directory = m_Dir / "new1\\new2";
  const struct {
    int32_t file, stdOut;
    const char* directory;
  } rows[] = {
      {7, 1, directory.c_str()}, {2, 7, directory.c_str()}, {0, 5, directory.c_str()}, {0, 0, nullptr}};
  for (const auto& row : rows) {
    fs::remove_all(m_Dir / "new1");
    kitc_log_config(row.file, row.directory, row.stdOut);
    EXPECT_EQ(fs::is_directory(m_Dir / "new1/new2"), row.directory != nullptr);
    fs::create_directories(m_Dir / "new1/new2");
    for (int32_t level = kLogAll; level <= kLogNone; ++level)
      kitc_log(level, "f", level, "%s", "");
    EXPECT_EQ(TakeText(), lines(row.stdOut));
    // A null directory turns the file off, by a threshold of "none".
    EXPECT_EQ(ReadFile(m_Dir / ("new1/new2/" + kToday)),
              lines(row.directory != nullptr ? row.file : kLogNone));
  }
}

TEST_F(LogTest, BeginsANewFileAtMidnightAndDropsWhatItCannotOpen) {
  m_Seam.m_Now = {2023, 12, 0, 31, 23, 59, 59, 999};
  kitc_log(kLogInfo, "f", 1, "old");
  m_Seam.m_Now = {2024, 1, 1, 1, 0, 0, 0, 0};
  kitc_log(kLogInfo, "f", 1, "new");
  EXPECT_EQ(ReadFile(m_Dir / "2023-12-31.txt"), "23:59:59.999 info: f(1): old\n");
  EXPECT_EQ(ReadFile(m_Dir / "2024-01-01.txt"), "00:00:00.000 info: f(1): new\n");
  kitc_log_config(kLogAll, (m_Dir / "2024-01-01.txt").c_str(), kLogAll);
  TakeText();
  kitc_log(kLogInfo, "f", 1, "x");
  EXPECT_EQ(TakeText(), "00:00:00.000 info: f(1): x\n");
}

TEST_F(LogTest, CutsWhatIsTooLong) {
  std::string directory = m_Dir.Path().string();
  while (directory.size() < 1023)
    directory += "/deep";
  kitc_log_config(kLogAll, (directory + "/more").c_str(), kLogAll);
  std::string expected = kTime + "info: f(1): ";
  const size_t room = 4095 - expected.size() - 1;
  expected += std::string(room, 'x') + "\n";
  for (const size_t length : {room, room + 1, size_t{100'000}}) {
    kitc_log(kLogInfo, "f", 1, "%s", std::string(length, 'x').c_str());
    EXPECT_EQ(TakeText(), expected);
  }
  EXPECT_EQ(ReadFile(directory.substr(0, 1023) + "/" + kToday), expected + expected + expected);
  kitc_log(kLogInfo, std::string(100'000, 'n').c_str(), 1, "message");  // already the prefix is too long
  EXPECT_EQ(TakeText(), kTime + "info: " + std::string(4095 - 20, 'n') + "\n");
}

TEST_F(LogTest, LinesOfSeveralThreadsStayWholeAndInOneOrderInEverySink) {
  testing::internal::CaptureStdout();
  std::latch start(4);
  std::vector<std::thread> threads;
  std::set<std::string> expected;
  for (char t = 'a'; t < 'e'; ++t) {
    expected.insert(kTime + "info: f(1): " + std::string(1500, t) + "\n");
    threads.emplace_back([&start, t] {
      start.arrive_and_wait();
      for (int i = 0; i < 100; ++i)
        kitc_log(kLogInfo, "f", 1, "%s", std::string(1500, t).c_str());
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  std::string joined;
  for (const std::string& line : m_Seam.TakeText()) {
    EXPECT_TRUE(expected.contains(line));
    joined += line;
  }
  EXPECT_EQ(joined.size(), 400 * expected.begin()->size());
  EXPECT_TRUE(ReadFile(m_Dir / kToday) == joined);
  EXPECT_TRUE(testing::internal::GetCapturedStdout() == joined);
}

TEST(LogDeathTest, ServesStaticDestructorsAndAClosedStandardOutput) {
  struct LogsAtTheEnd {
    ~LogsAtTheEnd() {
      kitc_log(kLogError, "f", 1, "nobody reads this");
      std::_Exit(3);  // the pipe's signal, or a crash in dead statics, would have been first
    }
  };
  EXPECT_EXIT(
      {
        static LogsAtTheEnd last;  // built before the log's state would be, so destroyed after it
        int pipeEnds[2];
        if (pipe(pipeEnds) != 0) std::_Exit(1);
        dup2(pipeEnds[1], STDOUT_FILENO);
        close(pipeEnds[0]);
        close(pipeEnds[1]);
        kitc_log_config(kLogNone, nullptr, kLogDebug);
        std::exit(0);
      },
      testing::ExitedWithCode(3), "");
}

TEST(Directory, MakesMissingParentsFirst) {
  const TempDir temp;
  std::ofstream(temp / "file") << "x";
  const struct {
    std::string path;
    int result;
    const char* made;
  } rows[] = {{"new1/new2", 0, "new1/new2"}, {"new1/new2", -1, "new1/new2"}, {"w1\\w2/w3", 0, "w1/w2/w3"},
              {"d1//d2", 0, "d1/d2"},        {"t1/t2/", -1, "t1/t2"},        {"file/below", -1, "."}};
  for (const auto& row : rows) {
    EXPECT_EQ(kitc_mkdir_recursive((temp / row.path).c_str()), row.result) << row.path;
    EXPECT_TRUE(fs::is_directory(temp / row.made)) << row.made;
  }
  for (const char* none : {"", static_cast<const char*>(nullptr), "/"})
    EXPECT_EQ(kitc_mkdir_recursive(none), -1);

  std::string path = temp / "deep";
  while (path.size() < 1000)
    path += "/deep";
  path.resize(1023, 'x');
  EXPECT_EQ(kitc_mkdir_recursive((path + "y").c_str()), -1);
  EXPECT_FALSE(fs::exists(temp / "deep")) << "refused as a whole";
  EXPECT_EQ(kitc_mkdir_recursive(path.c_str()), 0);
  EXPECT_EQ(std::string(kitc_executable_directory()),
            fs::read_symlink("/proc/self/exe").parent_path().string());
}

}  // namespace
