// What a file's name tells of it.
#pragma once

#include <string_view>

// Whether the library plays files of this name by itself: .mp4, .sv4, .sv5 and .sv6, in any case.
bool IsRecordedFile(std::string_view name);

// Whether it is the library's own format.
bool IsOwnFormat(std::string_view name);
