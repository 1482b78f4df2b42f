// Windows, rectangles, messages and monitors.
#pragma once

#include "platform/Kernel.h"

#ifdef _WIN32
#include <windows.h>
#else
#include "platform/posix/UserApi.h"
#endif
