#include "src/kitc/Log.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <new>

#include "platform/Kernel.h"
#include "src/kitc/Directory.h"
#include "src/kitc/Lock.h"
#include "src/kitc/OneTime.h"

namespace {

constexpr size_t kLineBytes = 4096;
constexpr size_t kDirectoryBytes = 1024;
constexpr size_t kFileNameBytes = kDirectoryBytes + 32;  // the directory and "/2024-03-07.txt"

struct LogState {
  Lock m_Lock{Lock::kImmortal};
  int32_t m_nFileLevel GUARDED_BY(m_Lock) = kLogNone;
  int32_t m_nStdOutLevel GUARDED_BY(m_Lock) = kLogAll;
  char m_szLogDir[kDirectoryBytes] GUARDED_BY(m_Lock) = {};
};

// The smaller of the two thresholds.
constinit std::atomic<int32_t> g_nMinLevel{kLogAll};

// Never destroyed, and ready for static constructors: whoever is built before this file or dies after it may
// log.
LogState& State() {
  alignas(LogState) static std::byte storage[sizeof(LogState)];
  static constinit OneTime created;
  created.Run([] { new (storage) LogState; });
  return *std::launder(reinterpret_cast<LogState*>(storage));
}

const char* LevelName(int32_t level) {
  static constexpr const char* kNames[] = {"all", "debug", "info", "notify", "warning", "error", "none"};
  return kNames[std::clamp<int32_t>(level, kLogAll, kLogNone)];
}

const char* BaseName(const char* path) {
  const char* name = path;
  for (const char* c = path; *c != '\0'; ++c) {
    if (*c == '/' || *c == '\\') name = c + 1;
  }
  return name;
}

// Adds to a line of `used` characters what fits before `capacity`, of which one is the terminator; returns
// the new length.
KITC_PRINTF(4, 0)
size_t AppendFormatted(char* line, size_t used, size_t capacity, const char* format, va_list arguments) {
  const int wanted = std::vsnprintf(line + used, capacity - used, format, arguments);
  if (wanted < 0) return used;  // a text that cannot be converted
  return used + std::min(static_cast<size_t>(wanted), capacity - used - 1);
}

KITC_PRINTF(4, 5)
size_t Append(char* line, size_t used, size_t capacity, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  used = AppendFormatted(line, used, capacity, format, arguments);
  va_end(arguments);
  return used;
}

void WriteToDailyFile(const LogState& state, const SYSTEMTIME& now, const char* text) REQUIRES(state.m_Lock) {
  char fileName[kFileNameBytes];
  std::snprintf(fileName, sizeof fileName, "%s/%4.4d-%2.2d-%2.2d.txt", state.m_szLogDir, int{now.wYear},
                int{now.wMonth}, int{now.wDay});
  // Opened for every line: the file is complete when the process dies, and may be moved away at any time.
  std::FILE* file = PlatformOpenFile(fileName, "a");
  if (file == nullptr) return;
  std::fputs(text, file);
  std::fclose(file);
}

}  // namespace

bool kitc_log_enabled(int32_t level) {
  return level >= g_nMinLevel.load(std::memory_order_relaxed);
}

void kitc_log(int32_t level, const char* sourceFile, int32_t line, const char* format, ...) {
  if (!kitc_log_enabled(level)) return;
  SYSTEMTIME now{};
  GetLocalTime(&now);
  char text[kLineBytes];
  constexpr size_t kRoomForLineEnd = 1;
  constexpr size_t kCapacity = sizeof text - kRoomForLineEnd;
  size_t used = Append(text, 0, kCapacity, "%2.2d:%2.2d:%2.2d.%3.3d %s: %s(%d): ", int{now.wHour},
                       int{now.wMinute}, int{now.wSecond}, int{now.wMilliseconds}, LevelName(level),
                       BaseName(sourceFile != nullptr ? sourceFile : ""), static_cast<int>(line));
  va_list arguments;
  va_start(arguments, format);
  if (format != nullptr) used = AppendFormatted(text, used, kCapacity, format, arguments);
  va_end(arguments);
  text[used] = '\n';
  text[used + 1] = '\0';

  LogState& state = State();
  const ScopedLock lock(state.m_Lock);
  if (level >= state.m_nStdOutLevel) {
    PlatformWriteStandardOutput(text);
    OutputDebugStringA(text);
  }
  if (level >= state.m_nFileLevel) WriteToDailyFile(state, now, text);
}

void kitc_log_config(int32_t fileLevel, const char* logDirectory, int32_t stdOutLevel) {
  LogState& state = State();
  const ScopedLock lock(state.m_Lock);
  state.m_nFileLevel = kLogNone;
  if (logDirectory != nullptr) {
    std::snprintf(state.m_szLogDir, sizeof state.m_szLogDir, "%s", logDirectory);
    kitc_mkdir_recursive(state.m_szLogDir);
    state.m_nFileLevel = fileLevel;
  }
  state.m_nStdOutLevel = stdOutLevel;
  g_nMinLevel.store(std::min(state.m_nFileLevel, stdOutLevel), std::memory_order_relaxed);
}
