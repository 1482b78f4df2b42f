// The DirectDraw 7 objects and operations that the video viewer uses.
#pragma once

#include "platform/User.h"

#ifdef _WIN32
#include <ddraw.h>
#else
#include "platform/posix/DirectDrawApi.h"
#endif

// Words for a DirectX failure code; never null, static memory.
const char* DXGetErrorDescriptionA(HRESULT code);
