// What the keys ask for, and how the bytes of a terminal become keys. Pure.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

// A key: its character, or one of those without any.
enum Key : int { kKeyTab = '\t', kKeyEscape = 0x1B, kKeyLeft = 0x100, kKeyRight };

struct Command {
  enum class Kind {
    kQuit,
    kPause,
    kStep,
    kSlower,
    kFaster,
    kBack,   // to the key frame before
    kOn,     // to the key frame after
    kTenth,  // to a tenth of the file
    kKeyFramesOnly,
    kMute,
    kNextTile,
    kZoomIn,
    kZoomOut,
    kWhole,  // picture
    kSubWindow,
    kCrop,
    kStatistics,
    kProcessing,
    kSnapshot,
    kFullScreen,
    kRedraw
  };
  Kind kind = Kind::kQuit;
  int tenth = 0;  // 0 to 9
  bool operator==(const Command&) const = default;
};

// None for a key without a meaning.
std::optional<Command> CommandOf(int key);
// Whether a key that is held down repeats its command.
bool DoesRepeat(int key);

// The keys in what one read of a terminal brought. An escape sequence comes whole; of those only the arrows
// are keys.
std::vector<int> KeysOfTerminal(std::string_view bytes);
