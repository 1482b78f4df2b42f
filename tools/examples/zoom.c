// Zooms into a recording that is paused, and says which colour a quarter into the window is: zoom RECORDING
#include <stdio.h>

#include "tools/examples/support.h"

static uint32_t pixel;

static void QXSP_CALLBACK on_drawn(uint32_t player, void* window, void* display, void* surface,
                                   QXSP_RECT* target, QXSP_RECT* image) {
  QXSP_SURFACE_DESC desc;
  const QXSP_RECT place = {160, 96, 161, 97};
  if (!QXSP_LockSurface(surface, &place, &desc)) return;
  pixel = *(const uint32_t*)desc.lpSurface;
  QXSP_UnlockSurface(surface);
  sem_post(&shown);
}

// A picture that was being presented is through when the call that changed the view has returned.
static void look(int32_t player, const char* what) {
  while (sem_trywait(&shown) == 0)
    continue;
  QXSP_RefreshWindow(player);
  if (wait_for(&shown)) printf("%s: %06x\n", what, (unsigned)(pixel & 0xFFFFFF));
}

int main(int argc, char** argv) {
  int32_t width, height;
  if (argc != 2 || !QXSP_InitSDK()) return 1;
  QXSP_SetCallBack(NULL, NULL, NULL, on_drawn);
  const int32_t player = QXSP_CreatePlayer();
  if (!QXSP_OpenFile(player, argv[1])) return 1;
  QXSP_SetVideoPreview(player, WINDOW, &(QXSP_RECT){0, 0, 640, 384}, 1);
  if (!wait_for(&shown)) return 1;
  QXSP_Pause(player);
  QXSP_GetBitmapSize(player, &width, &height);
  QXSP_ZoomIn(player, 0, 0, 0);
  look(player, "all of it");
  QXSP_ZoomIn(player, 1, width / 4, height * 3 / 4);
  look(player, "twice as large, at the bottom left");
  const QXSP_RECT part = {width / 2, height / 2, width, height};
  QXSP_ZoomView(player, &part);
  look(player, "the bottom right quarter");
  QXSP_ZoomView(player, NULL);
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return 0;
}
