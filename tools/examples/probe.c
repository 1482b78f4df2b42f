// Tells what a recording is and saves one of its key frames: probe RECORDING.mp4 OUT.bmp
#include <stdio.h>
#include <stdlib.h>

#include "tools/examples/support.h"

int main(int argc, char** argv) {
  QXSP_MEDIA_FILE_INFO info;
  if (argc != 3 || !QXSP_InitSDK()) return 1;
  void* const file = QXSP_MediaFileOpen(argv[1], &info);
  if (file == NULL) return 1;
  printf("%u frames of %ux%u, %.2f a second\n", (unsigned)info.dwTotalFrames, (unsigned)info.dwWidth,
         (unsigned)info.dwHeight, (double)info.dwFrameRateNum / info.dwFrameRateDen);
  int32_t key = 0, last = 0;
  while ((key = QXSP_MediaFileGetOneFrame(file, key + 1, NULL, 0)) > 0) {
    printf("key frame %d\n", (int)key);
    last = key;
  }
  const uint32_t size = info.dwWidth * info.dwHeight * 4;
  void* const pixels = malloc(size);
  const int saved = pixels != NULL && QXSP_MediaFileGetOneFrame(file, last, pixels, size) == last &&
                    save_picture(argv[2], pixels, info.dwWidth, info.dwHeight);
  free(pixels);
  QXSP_MediaFileClose(file);
  QXSP_ReleaseSDK();
  return saved ? 0 : 1;
}
