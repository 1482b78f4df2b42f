// What qxplay has to know of a recorded file and the library does not tell.
#pragma once

#include <string>
#include <string_view>

#include "tools/qxplay/Options.h"

// Whether the library plays files of this name by itself: .mp4, .sv4, .sv5 and .sv6, in any case.
bool IsRecordedFile(std::string_view name);

// Whether it is the library's own format.
bool IsOwnFormat(std::string_view name);

// Of an MP4 file; the usual one when it cannot be found out.
FrameRate FrameRateOf(const std::string& file);
