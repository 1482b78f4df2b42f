// Kernel services: threads and critical sections, clocks, local time, directories, text of error codes.
// Paths: Windows joins with `\`; elsewhere every function that takes a path reads `\` as `/`.
#pragma once

#ifdef _WIN32
#include <windows.h>

#include <mmsystem.h>
#include <process.h>
#else
#include "platform/posix/KernelApi.h"
#endif

#include <cstdio>

// fopen() that takes `\` as a separator on every system and, where the system can, keeps the file from being
// inherited by child processes. Returns null, with errno set, when the file cannot be opened.
std::FILE* PlatformOpenFile(const char* path, const char* mode);

// Writes text to the process's standard output at once. A closed or broken output is ignored and raises no
// signal.
void PlatformWriteStandardOutput(const char* text);
