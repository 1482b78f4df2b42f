// Plays a recording twice, with a snapshot after each end: events RECORDING OUT.bmp
#include <stdio.h>

#include "tools/examples/support.h"

static sem_t ended;

static void QXSP_CALLBACK on_event(uint32_t player, uint32_t event) {
  if (event == QXSP_EVENT_SNAPSHOT) printf("player %u: snapshot\n", (unsigned)player);
  // On the play thread, which must not open a file: the main thread does that.
  if (event == QXSP_EVENT_END_OF_FILE) sem_post(&ended);
}

int main(int argc, char** argv) {
  if (argc != 3 || !QXSP_InitSDK()) return 1;
  sem_init(&ended, 0, 0);
  QXSP_SetCallBack(NULL, on_event, NULL, NULL);
  QXSP_RegisterNotify(WINDOW, 0x0401);  // without a window there is no snapshot event
  const int32_t player = QXSP_CreatePlayer();
  for (int round = 1; round <= 2; ++round) {
    if (!QXSP_OpenFile(player, argv[1]) || !wait_for(&ended)) return 1;
    printf("round %d has ended\n", round);
    if (!save_snapshot(player, argv[2])) return 1;
  }
  QXSP_RegisterNotify(NULL, 0);
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return 0;
}
