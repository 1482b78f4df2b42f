// Opening live streams whose frames the cases then push.
#pragma once

#include <cstdint>

#include "qxsdkp.h"

// H.264 without sound.
QXSP_FILE_HEADER LiveHeader(int width, int height, int framesPerSecond);

// The identifier of a new player that plays such a stream in a window of 176x144. Ends the program when it
// cannot.
uint32_t OpenStream(const QXSP_FILE_HEADER& header, uint32_t mode);
