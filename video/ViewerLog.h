// Identity of the video viewer's log lines. Operators and their tools find a line by source and number, so
// both are fixed whatever source file now holds the code.
#pragma once

#include <cstdint>

inline constexpr char kViewerLogSource[] = "VideoViewer.cpp";

enum ViewerLogLine : int32_t {
  kLineNoDevice = 114,
  kLineDisplayNotCreated = 123,
  kLineCooperativeLevel = 131,
  kLinePrimaryNotCreated = 146,
  kLinePrimaryNotDescribed = 157,
  kLineBackNotCreated = 187,
  kLineBackNotDescribed = 199,
  kLineBackPlacement = 217,
  kLineScreenWithoutDisplay = 533,
  kLineFirstTryPlacement = 568,
  kLineFirstTryFailed = 577,
  kLineSecondTryPlacement = 606,
  kLineSecondTryFailed = 615,
  kLineOffScreenMissing = 688,
  kLineBackCopyFailedAfterRestore = 840,
  kLineBackCopyFailed = 863,
  kLinePrimaryCopyFailedAfterRestore = 921,
  kLinePrimaryCopyFailed = 944,
  kLineLockFailed = 960,
};
