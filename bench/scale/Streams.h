// Opening the live streams whose frames the cases push.
#pragma once

#include <cstdint>

#include "qxsdkp.h"

// H.264 without sound.
QXSP_FILE_HEADER LiveHeader(int width, int height, int framesPerSecond);

// The identifier of a new player with such a stream and a window at this place. Ends the program when there
// is none.
uint32_t OpenStream(const QXSP_FILE_HEADER& header, uint32_t mode, const QXSP_RECT& place);
