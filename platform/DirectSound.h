// The DirectSound 8 objects and operations that the audio viewer uses.
#pragma once

#include "platform/User.h"

#ifdef _WIN32
#include <mmreg.h>

#include <dsound.h>
#else
#include "platform/posix/DirectSoundApi.h"
#endif
