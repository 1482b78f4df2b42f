#include "tools/qxplay/Command.h"

std::optional<Command> CommandOf(int key) {
  using Kind = Command::Kind;
  if (key >= '0' && key <= '9') return Command{Kind::kTenth, key - '0'};
  static constexpr struct {
    int key;
    Kind kind;
  } kMeanings[] = {{'q', Kind::kQuit},          {kKeyEscape, Kind::kQuit},  {' ', Kind::kPause},
                   {'.', Kind::kStep},          {'[', Kind::kSlower},       {']', Kind::kFaster},
                   {'k', Kind::kKeyFramesOnly}, {kKeyLeft, Kind::kBack},    {kKeyRight, Kind::kOn},
                   {'m', Kind::kMute},          {kKeyTab, Kind::kNextTile}, {'+', Kind::kZoomIn},
                   {'=', Kind::kZoomIn},        {'-', Kind::kZoomOut},      {'z', Kind::kWhole},
                   {'w', Kind::kSubWindow},     {'c', Kind::kCrop},         {'d', Kind::kStatistics},
                   {'i', Kind::kProcessing},    {'s', Kind::kSnapshot},     {'f', Kind::kFullScreen},
                   {'r', Kind::kRedraw}};
  for (const auto& meaning : kMeanings) {
    if (meaning.key == key) return Command{meaning.kind};
  }
  return std::nullopt;
}

bool DoesRepeat(int key) {
  return key == '.' || key == kKeyLeft || key == kKeyRight || key == '+' || key == '=' || key == '-';
}

std::vector<int> KeysOfTerminal(std::string_view bytes) {
  std::vector<int> keys;
  for (size_t i = 0; i < bytes.size(); ++i) {
    const bool sequence =
        bytes[i] == kKeyEscape && i + 2 < bytes.size() && (bytes[i + 1] == '[' || bytes[i + 1] == 'O');
    if (!sequence) {
      keys.push_back(static_cast<unsigned char>(bytes[i]));
      continue;
    }
    // Parameters, then one byte from '@' on that tells which key it is (ECMA-48).
    i += 2;
    const size_t first = i;
    while (i < bytes.size() && bytes[i] < '@')
      ++i;
    if (i != first || i >= bytes.size()) continue;  // with parameters: a key with a modifier, or another one
    if (bytes[i] == 'C') keys.push_back(kKeyRight);
    if (bytes[i] == 'D') keys.push_back(kKeyLeft);
  }
  return keys;
}
