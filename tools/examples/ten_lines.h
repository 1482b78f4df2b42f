// What the ten lines of ten_lines.c take from the program around them.
#ifndef TEN_LINES_H_
#define TEN_LINES_H_

#include <stdint.h>

#include "include/qxsdkp.h"

#ifdef __cplusplus
extern "C" {
#endif

// Points *frame to the next access unit of an H.264 camera, 1280x720 at 25 frames a second, and answers its
// size in bytes; 0 ends the stream. Blocks until there is one.
uint32_t read_frame(const uint8_t** frame);

// Shows the camera at this place of the desktop, in this window, until it ends.
void play_camera(void* window, QXSP_RECT place);

#ifdef __cplusplus
}
#endif

#endif
