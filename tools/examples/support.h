// What the programs of docs/host-guide.md take from a host: a camera, a clock, waiting, pictures on disk.
#ifndef EXAMPLE_SUPPORT_H_
#define EXAMPLE_SUPPORT_H_

#include <semaphore.h>
#include <stdint.h>

#include "qxsdkp.h"

#ifdef __cplusplus
extern "C" {
#endif

// Without a display any value but null is a window. Else it is a HWND or the identifier of an X11 window.
#define WINDOW ((void*)1)

enum {
  CAMERA_STEADY = 0,   // each frame at its time, as over a good network
  CAMERA_AT_ONCE = 1,  // all that is there at once, as after a stall of the network
};

// Opens a file or an address of H.264 or H.265 video and fills in the header of its live stream, without
// sound. One camera at a time; one that is open is closed. Answers 1, or 0 and says why.
int open_camera(const char* address, int pace, QXSP_FILE_HEADER* header);

// Points *frame to the camera's next access unit, valid until the next call, and sets its time in ms. Answers
// its size in bytes, 0 at the end. Blocks until there is one.
uint32_t read_camera(const uint8_t** frame, int64_t* time_ms);

// Milliseconds of a clock that only goes forward.
int64_t now_ms(void);

// Waits for a sem_post, for 10 seconds at most. Answers 1 or 0.
int wait_for(sem_t* event);

// Writes what QXSP_GetBitmap gave into a file: a BMP is laid out just so. Answers 1 or 0.
int save_picture(const char* file, const void* pixels, int32_t width, int32_t height);

// Posted by note_picture, a picture callback as that of live.c, or by a callback of the program's own.
extern sem_t shown;
void QXSP_CALLBACK note_picture(uint32_t player, const uint8_t* luma, const uint8_t* cb, const uint8_t* cr,
                                uint32_t luma_stride, uint32_t chroma_stride);
// QXSP_WriteToStreamOneFrame2 with the time in one piece.
int32_t write_frame(int32_t player, const void* frame, uint32_t size, int64_t ms);

// What snapshot.c shows. Answers 1 or 0.
int save_snapshot(int32_t player, const char* file);

#ifdef __cplusplus
}
#endif

#endif  // EXAMPLE_SUPPORT_H_
