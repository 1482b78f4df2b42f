// The log: one line per call, to standard output and the debugger, and to one file per local day.
#pragma once

#include <cstdint>
#include <cstdio>

enum LogLevel : int32_t {
  kLogAll = 0,
  kLogDebug = 1,
  kLogInfo = 2,
  kLogNotify = 3,
  kLogWarning = 4,
  kLogError = 5,
  kLogNone = 6,
};

#if defined(__MINGW32__)
#define KITC_PRINTF(formatAt, firstAt) __attribute__((format(__MINGW_PRINTF_FORMAT, formatAt, firstAt)))
#else
#define KITC_PRINTF(formatAt, firstAt) __attribute__((format(printf, formatAt, firstAt)))
#endif

// Writes "HH:MM:SS.mmm level: file(line): message\n" to the sinks whose threshold `level` reaches; below both
// it costs one comparison. A line is cut at 4095 bytes and still ends with the line end. Never fails, never
// throws; any thread, any locks held, also before main() and while the process ends. Until kitc_log_config is
// called everything goes to standard output and the debugger, nothing to files.
void kitc_log(int32_t level, const char* sourceFile, int32_t line, const char* format, ...) KITC_PRINTF(4, 5);

// Whether a line of that level goes anywhere. The answer may be out of date when it is used.
bool kitc_log_enabled(int32_t level);

// Sets both thresholds and the directory of the daily files, which is created. A null directory turns the
// files off and keeps the old one; of a longer one the first 1023 characters count. The setting stays for the
// life of the process.
void kitc_log_config(int32_t fileLevel, const char* logDirectory, int32_t stdOutLevel);
