// Saves the first picture of a recording: snapshot RECORDING OUT.bmp
#include <stdlib.h>

#include "tools/examples/support.h"

int main(int argc, char** argv) {
  int32_t width, height;
  if (argc != 3 || !QXSP_InitSDK()) return 1;
  QXSP_SetCallBack(note_picture, NULL, NULL, NULL);
  const int32_t player = QXSP_CreatePlayer();
  if (!QXSP_OpenFile(player, argv[1]) || !wait_for(&shown)) return 1;
  if (!QXSP_GetBitmapSize(player, &width, &height)) return 1;
  const uint32_t size = (uint32_t)width * (uint32_t)height * 4;
  void* const pixels = malloc(size);
  if (pixels == NULL || !QXSP_GetBitmap(player, pixels, size)) return 1;
  const int saved = save_picture(argv[2], pixels, width, height);
  free(pixels);
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return saved ? 0 : 1;
}
