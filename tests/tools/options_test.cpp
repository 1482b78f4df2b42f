// The command line: what is taken, and that everything else is refused with a sentence that names it.
#include "tools/qxplay/Options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using Arguments = std::vector<std::string_view>;

Options Parsed(const Arguments& arguments) {
  const auto result = ParseOptions(arguments);
  if (const auto* error = std::get_if<std::string>(&result)) ADD_FAILURE() << *error;
  return std::holds_alternative<Options>(result) ? std::get<Options>(result) : Options{};
}

std::string ErrorOf(const Arguments& arguments) {
  const auto result = ParseOptions(arguments);
  return std::holds_alternative<std::string>(result) ? std::get<std::string>(result) : "none";
}

TEST(Options, TakesEveryOptionWithBothSpellings) {
  const Options options = Parsed(
      {"--live", "a.mp4",  "--loop",         "--copies",   "4",       "--mode=0x25", "--seconds=7",
       "--fps",  "29.97",  "--size=640x360", "--headless", "--sheet", "s.png",       "--timeout=3",
       "--log",  "debug",  "--log-dir=logs", "--osd=a",    "--osd",   "b",           "--snapshots=there",
       "--",     "--b.mp4"});
  EXPECT_EQ(options.sources, (std::vector<std::string>{"a.mp4", "--b.mp4"}));
  EXPECT_TRUE(options.live && options.loop && options.headless);
  EXPECT_EQ(options.copies, 4);
  EXPECT_EQ(options.mode, 0x25u);
  EXPECT_EQ(options.seconds, 7);
  EXPECT_EQ(options.timeoutSeconds, 3);
  EXPECT_EQ(options.frameRate, (FrameRate{2997, 100}));
  EXPECT_EQ(options.width, 640);
  EXPECT_EQ(options.height, 360);
  EXPECT_EQ(options.sheet, "s.png");
  EXPECT_EQ(options.logLevel, 1);
  EXPECT_EQ(options.logDir, "logs");
  EXPECT_EQ(options.osd, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(options.snapshotDir, "there");
}

TEST(Options, RefusesWithTheReason) {
  const struct {
    Arguments arguments;
    const char* words;
  } cases[] = {
      {{}, "no source"},
      {{"--live"}, "no source"},
      {{"--live", ""}, "empty name"},
      {{"--live", "a", "--speed"}, "unknown option --speed"},
      {{"--live", "a", "--loop=1"}, "--loop takes no value"},
      {{"--live", "a", "--copies"}, "--copies needs a value"},
      {{"--live", "a", "--copies=0"}, "--copies: 0"},
      {{"--live", "a", "--copies", "4x"}, "--copies: 4x"},
      {{"--live", "a", "--copies=99999999999999999999"}, "--copies"},
      {{"--live", "a", "b", "--copies=257"}, "512"},
      {{"--live", "a", "--mode=0x11"}, "--mode must be"},
      {{"--live", "a", "--mode=0x31"}, "--mode must be"},
      {{"--live", "a", "--mode=fast"}, "--mode: fast"},
      {{"--live", "a", "--fps=0"}, "--fps: 0"},
      {{"--live", "a", "--size=0x0"}, "--size: 0x0"},
      {{"--live", "a", "--size=720"}, "--size: 720"},
      {{"--live", "a", "--log=loud"}, "--log: loud"},
      {{"--live", "a", "--sheet=s.png", "--no-sheet"}, "exclude each other"},
      {{"a", "--osd=\xE2\x82\xAC"}, "GB2312"},
      {{"--probe", "--thumbs", "a", "b"}, "exclude each other"},
      {{"--probe"}, "no source"},
      {{"--thumbs", "a.mp4"}, "FILE OUT.png"},
  };
  for (const auto& one : cases)
    EXPECT_THAT(ErrorOf(one.arguments), HasSubstr(one.words));
}

TEST(Options, ReadsFrameRates) {
  EXPECT_EQ(ParseFrameRate("25"), (FrameRate{25, 1}));
  EXPECT_EQ(ParseFrameRate("30000/1001"), (FrameRate{30000, 1001}));
  EXPECT_EQ(ParseFrameRate("12.500"), (FrameRate{25, 2}));
  for (const char* text : {"", ".", "5.", "-25", "25/0", "1/0x", "65536", "1.2345678", "1.-5", "25fps"}) {
    EXPECT_EQ(ParseFrameRate(text), std::nullopt) << text;
  }
}

}  // namespace
