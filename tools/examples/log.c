// Looks for the reason of a failure: log DIRECTORY
#include <stdio.h>

#include "tools/examples/support.h"

int main(int argc, char** argv) {
  if (argc != 2 || !QXSP_InitSDK()) return 1;
  QXSP_ConfigLog(QXSP_LOG_DEBUG, argv[1], QXSP_LOG_NONE);  // after QXSP_InitSDK, which sets them, too
  const int32_t player = QXSP_CreatePlayer();
  QXSP_SetPlayerName(player, "entrance");
  if (!QXSP_OpenFile(player, "missing.mp4")) printf("not opened, see %s\n", argv[1]);
  QXSP_CloseStream(player);
  QXSP_ConfigLog(QXSP_LOG_NONE, NULL, QXSP_LOG_WARNING);
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return 0;
}
