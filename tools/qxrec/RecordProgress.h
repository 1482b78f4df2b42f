// What qxrec tells of its work. Pure text.
#pragma once

#include <cstdint>
#include <string>

struct RecordProgress {
  double recordedSeconds = 0;
  double totalSeconds = 0;    // 0: unknown
  double elapsedSeconds = 0;  // since the start
  uint64_t bytes = 0;         // written
};

// "[#######-------------]  35 %  00:00:21 of 00:01:00  12.3 x  4.5 MB"; without a known total
// "00:00:21  1.0 x  4.5 MB". The bar only where there is a terminal to draw it on.
std::string ProgressLine(const RecordProgress& progress, bool withBar);

// "4.5 MB", decimal units as file managers count.
std::string SizeText(uint64_t bytes);
