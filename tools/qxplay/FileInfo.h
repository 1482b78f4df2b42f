// What qxplay has to know of a recorded file and the library does not tell.
#pragma once

#include <string>
#include <string_view>

#include "tools/qxplay/Options.h"

// Whether the library plays files of this name by itself: .mp4, .sv4, .sv5 and .sv6, in any case.
bool IsRecordedFile(std::string_view name);

// Whether it is the library's own format.
bool IsOwnFormat(std::string_view name);

struct FileInfo {
  int width = 0;  // pixels; 0: not known
  int height = 0;
  FrameRate frameRate;
};

// Of an MP4 file; what cannot be found out keeps its default.
FileInfo ReadMp4Info(const std::string& file);
