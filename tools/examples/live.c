// Plays a camera: live CAMERA
#include <stdio.h>

#include "tools/examples/support.h"

static void QXSP_CALLBACK on_picture(uint32_t player, const uint8_t* luma, const uint8_t* cb,
                                     const uint8_t* cr, uint32_t luma_stride, uint32_t chroma_stride) {
  sem_post(&shown);
}

int main(int argc, char** argv) {
  QXSP_FILE_HEADER header;
  const uint8_t* frame;
  uint32_t size;
  int64_t ms;
  int queued = 0, pictures = 0;
  if (argc != 2 || !open_camera(argv[1], CAMERA_STEADY, &header) || !QXSP_InitSDK()) return 1;
  QXSP_SetCallBack(on_picture, NULL, NULL, NULL);
  const int32_t player = QXSP_CreatePlayer();
  if (player == QXSP_NO_PLAYER || !QXSP_OpenStream(player, &header, sizeof(header))) return 1;
  const QXSP_RECT place = {0, 0, 640, 360};
  QXSP_SetVideoPreview(player, WINDOW, &place, 1);
  while ((size = read_camera(&frame, &ms)) > 0) {
    const int32_t answer =
        QXSP_WriteToStreamOneFrame2(player, frame, size, (uint32_t)ms, (uint32_t)((uint64_t)ms >> 32));
    if (answer == QXSP_WRITE_QUEUED) {
      ++queued;
    } else {
      printf("dropped (%d): ask the camera for a key frame\n", (int)answer);
    }
  }
  while (pictures < queued && wait_for(&shown))
    ++pictures;
  printf("queued %d, shown %d, decoding %s\n", queued, pictures, QXSP_HasImage(player) ? "well" : "failed");
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return 0;
}
