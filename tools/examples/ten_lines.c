// A host in ten lines: the ones between the marks stand in README.md, too.
#include "tools/examples/ten_lines.h"

void play_camera(void* window, QXSP_RECT place) {
  const uint8_t* frame;
  uint32_t size;
  // ten lines
  QXSP_SHORT_HEADER header = {.szMagic = "QXS", .nVersion = 16, .dwWidth = 1280, .dwHeight = 720};  // H.264
  QXSP_InitSDK();
  int32_t player = QXSP_CreatePlayer();
  QXSP_OpenStream(player, &header, sizeof(header));
  QXSP_SetVideoPreview(player, window, &place, 1);
  while ((size = read_frame(&frame)) > 0) {
    QXSP_WriteToStreamOneFrame(player, frame, size);
  }
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  // end
}
