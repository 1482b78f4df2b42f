// Tells of recordings without playing them: what they are, and a sheet of their key frames.
#pragma once

#include <string>
#include <vector>

#include "tools/common/Console.h"

// Between QXSP_InitSDK and QXSP_ReleaseSDK. Both answer false after a complaint.

// Frame count, size, frame rate and key frames of each.
bool ReportFiles(const std::vector<std::string>& files, Console& console);

// Writes a PNG with at most kMostThumbnails key frames, at equal distances over the whole file, and their
// times.
constexpr size_t kMostThumbnails = 24;
bool WriteThumbnails(const std::string& file, const std::string& sheetFile, Console& console);
