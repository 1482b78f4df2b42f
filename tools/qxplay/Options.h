// What the command line of qxplay asks for. Pure: parsing touches neither files nor the screen.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// Frames per second as a fraction; both parts 1 to 65535, as the stream header holds them.
struct FrameRate {
  uint16_t num = 25;
  uint16_t den = 1;
  bool operator==(const FrameRate&) const = default;
};

struct Options {
  std::vector<std::string> sources;  // files or addresses, each at least once
  bool help = false;
  bool probe = false;   // tell of the sources and end
  bool thumbs = false;  // sources: a file and where the sheet of its key frames goes
  bool live = false;    // recordings, too, are pushed as live streams
  bool loop = false;
  bool headless = false;
  int copies = 1;                      // players a source
  uint32_t mode = 0x20;                // frame-control mode of every player
  int seconds = 0;                     // end after this time; 0: when the sources end
  int timeoutSeconds = 10;             // the longest wait for a source that does not answer
  int width = 1280;                    // of the window, pixels
  int height = 720;                    //
  std::optional<FrameRate> frameRate;  // replaces what the source says
  std::string sheet;                   // file of the contact sheet; empty: headlessSheet, headless only
  std::string headlessSheet = "contact-sheet.png";
  bool noSheet = false;
  std::vector<std::string> osd;  // lines of text in the pictures, GB2312
  std::string snapshotDir;       // empty: the current one
  int logLevel = 6;              // of the library's log file: 1 debug to 5 error, 6 none
  std::string logDir = "qxsdkplog";
};

// The options, or a sentence that says what is wrong.
std::variant<Options, std::string> ParseOptions(std::span<const std::string_view> arguments);

// "25", "29.97" or "30000/1001".
std::optional<FrameRate> ParseFrameRate(std::string_view text);

// The text of --help.
std::string_view UsageText();
