// Shows a recording across the border of two monitors and in a sub window: windows RECORDING
#include <stdio.h>

#include "tools/examples/support.h"

#define SUB_WINDOW ((void*)2)

// On the play thread, after each copy of a picture to a screen: draws a white line on top of it.
static void QXSP_CALLBACK on_drawn(uint32_t player, void* window, void* display, void* surface,
                                   QXSP_RECT* target, QXSP_RECT* image) {
  QXSP_SURFACE_DESC desc;
  const int32_t left = target->left > 0 ? target->left : 0;
  const QXSP_RECT line = {left, target->top, left + 80, target->top + 1};  // inside the surface
  if (!QXSP_LockSurface(surface, &line, &desc)) return;
  for (int x = 0; x < 80; ++x)
    ((uint32_t*)desc.lpSurface)[x] = 0x00FFFFFF;
  QXSP_UnlockSurface(surface);
  printf("%s window: (%d,%d) to (%d,%d) of its screen\n", window == WINDOW ? "main" : "sub",
         (int)target->left, (int)target->top, (int)target->right, (int)target->bottom);
  sem_post(&shown);
}

int main(int argc, char** argv) {
  QXSP_SCREEN_RECT screens[16];
  int32_t count = 16;
  if (argc != 2 || !QXSP_InitSDK()) return 1;
  QXSP_GetScreenInfo(screens, &count);
  printf("%d screens\n", (int)count);
  const int32_t border = screens[count - 1].rcMonitor.left;
  const QXSP_RECT place = {border - 160, 0, border + 160, 192}, corner = {0, 0, 80, 48};
  QXSP_SetCallBack(NULL, NULL, NULL, on_drawn);
  const int32_t player = QXSP_CreatePlayer();
  QXSP_SetVideoSubPreview(player, SUB_WINDOW, &corner, 1);  // stays on from one source to the next
  if (!QXSP_OpenFile(player, argv[1])) return 1;
  QXSP_SetVideoPreview(player, WINDOW, &place, 1);  // after the open, which switches it off
  for (int i = 0; i < 10; ++i)
    if (!wait_for(&shown)) return 1;
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return 0;
}
