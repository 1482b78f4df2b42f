// What the command line of qxrec asks for. Pure: parsing touches no files.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

struct Options {
  std::string input;   // a file or an address
  std::string output;  // ends in .sv4, .sv5 or .sv6
  std::string index;   // an MP4 file to write the index of; then there is no input and no output
  bool help = false;
  bool version = false;
  bool force = false;  // replace the output
  bool live = false;
  bool noSound = false;
  uint32_t seconds = 0;  // length of the recording; 0: the input's
  int timeoutSeconds = 10;

  // By its name's ending, the output holds the older codec instead of H.264.
  bool IsOlderCodec() const { return output.ends_with('4'); }
};

// The options, or a sentence that says what is wrong.
std::variant<Options, std::string> ParseOptions(std::span<const std::string_view> arguments);

// The text of --help.
std::string_view UsageText();
