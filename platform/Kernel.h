// Kernel services: threads and critical sections, clocks, local time, directories, text of error codes.
#pragma once

#ifdef _WIN32
#include <windows.h>

#include <mmsystem.h>
#include <process.h>
#else
#include "platform/posix/KernelApi.h"
#endif

#include <cstdio>

// fopen() that takes `\` as a separator on every system. Returns null, with errno set, when the file cannot be opened.
std::FILE* PlatformOpenFile(const char* path, const char* mode);
