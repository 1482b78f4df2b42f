// Plays the key frames of a recording from its middle on, at double speed: file RECORDING
#include <stdio.h>

#include "tools/examples/support.h"

static sem_t ended;

// On the play thread: the frame that was read last is the one that is shown.
static void QXSP_CALLBACK on_picture(uint32_t player, const uint8_t* luma, const uint8_t* cb,
                                     const uint8_t* cr, uint32_t luma_stride, uint32_t chroma_stride) {
  printf("frame %u\n", (unsigned)QXSP_GetCurFrameNum(player));
}

static void QXSP_CALLBACK on_event(uint32_t player, uint32_t event) {
  if (event == QXSP_EVENT_END_OF_FILE) sem_post(&ended);
}

int main(int argc, char** argv) {
  int32_t width, height;
  uint32_t position, key;
  if (argc != 2 || !QXSP_InitSDK()) return 1;
  sem_init(&ended, 0, 0);
  QXSP_SetCallBack(on_picture, on_event, NULL, NULL);
  const int32_t player = QXSP_CreatePlayer();
  if (!QXSP_OpenFile(player, argv[1])) return 1;  // the log says why
  const QXSP_RECT place = {0, 0, 640, 360};
  QXSP_SetVideoPreview(player, WINDOW, &place, 1);
  QXSP_SetPlaySpeed(player, 1, 1);
  const uint32_t total = QXSP_GetTotalFrames(player);
  QXSP_GotoKeyFrame(player, total / 2 + 1, 0);
  QXSP_GetBitmapSize(player, &width, &height);
  if (!wait_for(&ended)) return 1;
  QXSP_GetKeyFramePos(player, &position, &key);
  printf("%u frames of %dx%d, the last key frame is %u\n", (unsigned)total, (int)width, (int)height,
         (unsigned)key);
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return 0;
}
