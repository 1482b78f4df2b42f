// How long a burst of frames takes to be shown, in two modes: tuning CAMERA
#include <stdio.h>

#include "tools/examples/support.h"

static int play(int32_t player, const char* camera) {
  QXSP_FILE_HEADER header;
  const uint8_t* frame;
  uint32_t size;
  int64_t ms;
  int queued = 0;
  if (!open_camera(camera, CAMERA_AT_ONCE, &header)) return -1;
  if (!QXSP_OpenStream(player, &header, sizeof(header))) return -1;  // the mode stays
  const int64_t begin = now_ms();
  while ((size = read_camera(&frame, &ms)) > 0) {
    if (write_frame(player, frame, size, ms) == QXSP_WRITE_QUEUED) ++queued;
  }
  while (queued > 0 && wait_for(&shown))
    --queued;
  return queued == 0 ? (int)(now_ms() - begin) : -1;
}

int main(int argc, char** argv) {
  if (argc != 2 || !QXSP_InitSDK()) return 1;
  QXSP_SetCallBack(note_picture, NULL, NULL, NULL);
  QXSP_SetDefaultFrameControlMode(QXSP_MODE_CATCH_UP);  // for the players that are created from now on
  const int32_t player = QXSP_CreatePlayer();
  const int paced = play(player, argv[1]);
  QXSP_SetFrameControlMode(player, QXSP_MODE_AT_ONCE);
  const int at_once = play(player, argv[1]);
  printf("by their times %d ms, at once %d ms\n", paced, at_once);
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return paced < 0 || at_once < 0;
}
