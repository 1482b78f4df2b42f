// Writes texts and the statistics into the pictures of a camera: overlay CAMERA DIRECTORY
#include <stdio.h>

#include "tools/examples/support.h"

// Plays one more frame and keeps its picture.
static int play_and_save(int32_t player, const char* directory, const char* name) {
  char file[4096];
  const uint8_t* frame;
  int64_t ms;
  const uint32_t size = read_camera(&frame, &ms);
  snprintf(file, sizeof(file), "%s/%s", directory, name);
  return write_frame(player, frame, size, ms) == QXSP_WRITE_QUEUED && wait_for(&shown) &&
         save_snapshot(player, file);
}

int main(int argc, char** argv) {
  QXSP_FILE_HEADER header;
  const QXSP_OSD_ITEM items[] = {
      {.wType = QXSP_OSD_TEXT, .pszText = "Gate 7", .nX = 10, .nY = 10, .nGreen = 255},
      {.wType = QXSP_OSD_TEXT,
       .pszText = "Rec",
       .nAnchor = QXSP_ANCHOR_BOTTOM_LEFT,
       .nX = 10,
       .nY = 80,
       .nRed = 255,
       .nAlpha = 128}};
  if (argc != 3 || !open_camera(argv[1], CAMERA_STEADY, &header) || !QXSP_InitSDK()) return 1;
  QXSP_SetCallBack(note_picture, NULL, NULL, NULL);
  const int32_t player = QXSP_CreatePlayer();
  if (!QXSP_OpenStream(player, &header, sizeof(header))) return 1;
  if (!play_and_save(player, argv[2], "plain.bmp")) return 1;
  if (!QXSP_SetOSD(player, items, 2) || !play_and_save(player, argv[2], "texts.bmp")) return 1;
  QXSP_EnableDebugOSD(player, 1);                              // instead of the texts
  if (!play_and_save(player, argv[2], "first.bmp")) return 1;  // the first figures come with this frame
  if (!play_and_save(player, argv[2], "statistics.bmp")) return 1;
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return 0;
}
