// The command line: what is taken, and that everything else is refused with a sentence that names it.
#include "tools/qxplay/Options.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using Arguments = std::vector<std::string_view>;

TEST(Options, TakesEveryOptionWithBothSpellings) {
  const auto result = ParseOptions(Arguments{
      "--live", "a.mp4",  "--loop",         "--copies",   "4",       "--mode=0x25", "--seconds=7",
      "--fps",  "29.97",  "--size=640x360", "--headless", "--sheet", "s.png",       "--timeout=3",
      "--log",  "debug",  "--log-dir=logs", "--osd=a",    "--osd",   "b",           "--snapshots=there",
      "--",     "--b.mp4"});
  ASSERT_TRUE(std::holds_alternative<Options>(result)) << std::get<std::string>(result);
  const Options& options = std::get<Options>(result);
  EXPECT_TRUE(options.live && options.loop && options.headless);
  EXPECT_EQ(options.sources, (std::vector<std::string>{"a.mp4", "--b.mp4"}));
  EXPECT_EQ(options.osd, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(options.frameRate, (FrameRate{2997, 100}));
  EXPECT_EQ(std::tuple(options.copies, options.mode, options.seconds, options.timeoutSeconds),
            std::tuple(4, 0x25u, 7, 3));
  EXPECT_EQ(std::tuple(options.width, options.height, options.logLevel), std::tuple(640, 360, 1));
  EXPECT_EQ(std::tuple(options.sheet, options.logDir, options.snapshotDir),
            std::tuple("s.png", "logs", "there"));
}

TEST(Options, RefusesWithTheReason) {
  const struct {
    Arguments arguments;
    const char* words;
  } cases[] = {
      {{}, "no source"},
      {{"--live", ""}, "empty name"},
      {{"--live", "a", "--speed"}, "unknown option --speed"},
      {{"--live", "a", "--loop=1"}, "--loop takes no value"},
      {{"--live", "a", "--copies"}, "--copies needs a value"},
      {{"--live", "a", "--copies=0"}, "--copies: 0"},
      {{"--live", "a", "--copies", "4x"}, "--copies: 4x"},
      {{"--live", "a", "--copies=99999999999999999999"}, "--copies"},
      {{"--live", "a", "b", "--copies=257"}, "512"},
      {{"--live", "a", "--mode=0x31"}, "--mode must be"},
      {{"--live", "a", "--mode=fast"}, "--mode: fast"},
      {{"--live", "a", "--fps=0"}, "--fps: 0"},
      {{"--live", "a", "--size=0x0"}, "--size: 0x0"},
      {{"--live", "a", "--log=loud"}, "--log: loud"},
      {{"--live", "a", "--sheet=s.png", "--no-sheet"}, "exclude each other"},
      {{"a", "--osd=\xE2\x82\xAC"}, "GB2312"},
      {{"--probe", "--thumbs", "a", "b"}, "exclude each other"},
      {{"--thumbs", "a.mp4"}, "FILE OUT.png"},
  };
  for (const auto& one : cases) {
    const auto result = ParseOptions(one.arguments);
    const auto* const error = std::get_if<std::string>(&result);
    EXPECT_THAT(error != nullptr ? *error : "taken", HasSubstr(one.words));
  }
  EXPECT_EQ(ParseFrameRate("30000/1001"), (FrameRate{30000, 1001}));
  EXPECT_EQ(ParseFrameRate("12.500"), (FrameRate{25, 2}));
  for (const char* text : {"", ".", "5.", "-25", "25/0", "1/0x", "65536", "1.2345678", "1.-5", "25fps"})
    EXPECT_EQ(ParseFrameRate(text), std::nullopt) << text;
}

}  // namespace
