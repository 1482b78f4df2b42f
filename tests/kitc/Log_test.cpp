#include "src/kitc/Log.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/TempDir.h"
#include "tests/support/TestSeam.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

// Local time is what the test says; 7 March 2024, 09:05:03.042 to begin with.
class LogSeam : public TestSeam {
 public:
  LogSeam() : TestSeam(kByDerived) { Install(); }
  ~LogSeam() override { Remove(); }
  void LocalTime(SYSTEMTIME* now) override { *now = m_Now; }
  SYSTEMTIME m_Now{2024, 3, 4, 7, 9, 5, 3, 42};
};

// Logs before main(), when neither this file's nor the log's statics are sure to be built.
std::vector<std::string> LogBeforeMain() {
  LogSeam seam;
  kitc_log(kLogAll, "Early.cpp", 1, "early");
  return seam.TakeText();
}
const std::vector<std::string> g_BeforeMain = LogBeforeMain();

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class LogTest : public testing::Test {
 protected:
  ~LogTest() override { kitc_log_config(kLogNone, nullptr, kLogNone); }
  std::string Log(const char* day) const { return ReadFile(m_Dir.Path() / (std::string(day) + ".txt")); }
  std::string Today() const { return Log("2024-03-07"); }
  void Configure(int32_t fileLevel, int32_t stdOutLevel) {
    kitc_log_config(fileLevel, m_Dir.Path().c_str(), stdOutLevel);
  }

  TempDir m_Dir;
  LogSeam m_Seam;
};

TEST_F(LogTest, EverythingReachesTheDebuggerBeforeItIsConfigured) {
  EXPECT_THAT(g_BeforeMain, ElementsAre("09:05:03.042 all: Early.cpp(1): early\n"));
}

TEST_F(LogTest, WritesTheSameLineToDebuggerStandardOutputAndFile) {
  Configure(kLogAll, kLogAll);
  testing::internal::CaptureStdout();
  kitc_log(kLogError, "Player.cpp", 42, "decodeid:%d,name:%s\n", 7, "gate");
  const std::string line = "09:05:03.042 error: Player.cpp(42): decodeid:7,name:gate\n\n";
  EXPECT_EQ(testing::internal::GetCapturedStdout(), line);
  EXPECT_THAT(m_Seam.TakeText(), ElementsAre(line));
  EXPECT_EQ(Today(), line);
}

TEST_F(LogTest, NamesLevelAndSourceFile) {
  Configure(kLogNone, kLogAll);
  for (int32_t level = kLogAll; level <= kLogNone; ++level)
    kitc_log(level, "a\\b/c.cpp", level, "%s", "");
  kitc_log(kLogInfo, "a/b\\d.cpp", -1, "x");
  kitc_log(kLogInfo, "dir/", 1, "x");
  kitc_log(kLogInfo, nullptr, 1, "x");
  const std::string time = "09:05:03.042 ";
  EXPECT_THAT(m_Seam.TakeText(), ElementsAre(time + "all: c.cpp(0): \n", time + "debug: c.cpp(1): \n",
                                             time + "info: c.cpp(2): \n", time + "notify: c.cpp(3): \n",
                                             time + "warning: c.cpp(4): \n", time + "error: c.cpp(5): \n",
                                             time + "none: c.cpp(6): \n", time + "info: d.cpp(-1): x\n",
                                             time + "info: (1): x\n", time + "info: (1): x\n"));
}

TEST_F(LogTest, EachSinkHasItsThreshold) {
  const auto logAllLevels = [] {
    for (const int32_t level : {kLogDebug, kLogInfo, kLogWarning, kLogError})
      kitc_log(level, "f", 1, "%d", static_cast<int>(level));
  };
  const auto line = [](int level, const char* name) {
    return "09:05:03.042 " + std::string(name) + ": f(1): " + std::to_string(level) + "\n";
  };
  const std::string debug = line(1, "debug");
  const std::string info = line(2, "info");
  const std::string warning = line(4, "warning");
  const std::string error = line(5, "error");

  Configure(kLogNone, kLogDebug);
  logAllLevels();
  EXPECT_THAT(m_Seam.TakeText(), ElementsAre(debug, info, warning, error));
  EXPECT_TRUE(fs::is_empty(m_Dir.Path()));

  Configure(kLogInfo, kLogNone);
  logAllLevels();
  EXPECT_THAT(m_Seam.TakeText(), IsEmpty());
  EXPECT_EQ(Today(), info + warning + error);

  kitc_log_config(kLogInfo, nullptr, kLogError);
  logAllLevels();
  EXPECT_THAT(m_Seam.TakeText(), ElementsAre(error));
  EXPECT_EQ(Today(), info + warning + error) << "a null directory turns the file sink off";
}

TEST_F(LogTest, MakesTheDirectoryEvenWhenNoFileIsWanted) {
  kitc_log_config(kLogNone, (m_Dir / "new1\\new2").c_str(), kLogNone);
  EXPECT_TRUE(fs::is_directory(m_Dir / "new1/new2"));
  kitc_log_config(kLogAll, (m_Dir / "new1\\new2").c_str(), kLogNone);
  kitc_log(kLogInfo, "f", 1, "x");
  EXPECT_EQ(ReadFile(m_Dir / "new1/new2/2024-03-07.txt"), "09:05:03.042 info: f(1): x\n");
}

TEST_F(LogTest, BeginsANewFileAtMidnight) {
  Configure(kLogAll, kLogNone);
  m_Seam.m_Now = {2023, 12, 0, 31, 23, 59, 59, 999};
  kitc_log(kLogInfo, "f", 1, "old");
  m_Seam.m_Now = {2024, 1, 1, 1, 0, 0, 0, 0};
  kitc_log(kLogInfo, "f", 1, "new");
  EXPECT_EQ(Log("2023-12-31"), "23:59:59.999 info: f(1): old\n");
  EXPECT_EQ(Log("2024-01-01"), "00:00:00.000 info: f(1): new\n");
}

TEST_F(LogTest, CutsALineAtTheBuffersEnd) {
  Configure(kLogAll, kLogAll);
  const std::string prefix = "09:05:03.042 info: f(1): ";
  constexpr size_t kLongest = 4095;
  const size_t room = kLongest - prefix.size() - 1;
  for (const size_t length : {room - 1, room, room + 1, size_t{100'000}}) {
    const std::string message(length, 'x');
    kitc_log(kLogInfo, "f", 1, "%s", message.c_str());
    EXPECT_THAT(m_Seam.TakeText(), ElementsAre(prefix + message.substr(0, room) + "\n"));
  }
  kitc_log(kLogInfo, std::string(100'000, 'n').c_str(), 1, "message");  // already the prefix is too long
  const std::string cut = m_Seam.TakeText().at(0);
  EXPECT_EQ(cut.size(), kLongest);
  EXPECT_EQ(cut.back(), '\n');
}

TEST_F(LogTest, CutsAnOverlongDirectory) {
  std::string directory = m_Dir.Path().string();
  while (directory.size() < 1023)
    directory += "/deep";
  const std::string cut = directory.substr(0, 1023);
  kitc_log_config(kLogAll, (directory + "/more").c_str(), kLogNone);
  kitc_log(kLogInfo, "f", 1, "x");
  EXPECT_EQ(ReadFile(cut + "/2024-03-07.txt"), "09:05:03.042 info: f(1): x\n");
}

TEST_F(LogTest, DropsFileLinesWhenTheFileCannotBeOpened) {
  std::ofstream(m_Dir / "file") << "in the way";
  kitc_log_config(kLogAll, (m_Dir / "file").c_str(), kLogAll);
  kitc_log(kLogInfo, "f", 1, "x");
  EXPECT_THAT(m_Seam.TakeText(), ElementsAre("09:05:03.042 info: f(1): x\n"));
  EXPECT_EQ(ReadFile(m_Dir / "file"), "in the way");
}

TEST_F(LogTest, LinesOfSeveralThreadsStayWholeAndInOneOrder) {
  constexpr int kThreads = 4;
  constexpr int kLines = 100;
  Configure(kLogAll, kLogAll);
  testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      const std::string filler(1500, static_cast<char>('a' + t));
      for (int i = 0; i < kLines; ++i)
        kitc_log(kLogInfo, "f", i, "%s", filler.c_str());
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  const std::vector<std::string> lines = m_Seam.TakeText();
  std::string joined;
  int nextLine[kThreads] = {};
  for (const std::string& line : lines) {
    joined += line;
    const int t = line[line.size() - 2] - 'a';
    ASSERT_TRUE(t >= 0 && t < kThreads);
    const std::string filler(1500, static_cast<char>('a' + t));
    ASSERT_EQ(line, "09:05:03.042 info: f(" + std::to_string(nextLine[t]++) + "): " + filler + "\n");
  }
  EXPECT_EQ(lines.size(), size_t{kThreads * kLines});
  EXPECT_EQ(Today(), joined);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), joined);
}

// To the error output, where a death test looks.
class ErrorOutputSeam : public platform::KernelSeam {
 public:
  void DebugText(const char* text) override { std::fputs(text, stderr); }
};

struct LogsAtTheEnd {
  ~LogsAtTheEnd() { kitc_log(kLogError, "f", 1, "goodbye"); }
};

TEST(LogDeathTest, ServesStaticDestructors) {
  EXPECT_EXIT(
      {
        static LogsAtTheEnd last;  // built before the log's state would be, so destroyed after it
        platform::SetKernelSeam(new ErrorOutputSeam);  // outlives every static object
        kitc_log_config(kLogNone, nullptr, kLogDebug);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "goodbye");
}

TEST(LogDeathTest, AClosedStandardOutputDoesNotEndTheHost) {
  EXPECT_EXIT(
      {
        int pipeEnds[2];
        if (pipe(pipeEnds) != 0) std::exit(1);
        dup2(pipeEnds[1], STDOUT_FILENO);
        close(pipeEnds[0]);
        close(pipeEnds[1]);
        kitc_log_config(kLogNone, nullptr, kLogDebug);
        kitc_log(kLogError, "f", 1, "nobody reads this");
        std::_Exit(3);  // the pipe signal would have been first
      },
      testing::ExitedWithCode(3), "");
}

}  // namespace
