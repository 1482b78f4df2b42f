// What a recorded file says of itself, as far as qxplay needs it and the library does not tell it.
#pragma once

#include <string>
#include <string_view>

#include "tools/qxplay/Options.h"

struct FileInfo {
  int width = 0;  // pixels; 0: not known
  int height = 0;
  FrameRate frameRate;
};

// Whether the library plays files of this name by itself: .mp4, .sv4, .sv5 and .sv6, in any case.
bool IsRecordedFile(std::string_view name);

// The library's own format; its index starts elsewhere than that of MP4.
bool IsOwnFormat(std::string_view name);

// Reads the file's header. What cannot be found out keeps its default.
FileInfo ReadFileInfo(const std::string& file);
