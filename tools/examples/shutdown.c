// Ends a player that is being fed, and the library; then begins again: shutdown CAMERA
#include <pthread.h>
#include <stdio.h>

#include "tools/examples/support.h"

static sem_t enough;
static int32_t player;

static void* feed(void* unused) {
  const uint8_t* frame;
  uint32_t size;
  int64_t ms;
  while (sem_trywait(&enough) != 0 && (size = read_camera(&frame, &ms)) > 0) {
    write_frame(player, frame, size, ms);
  }
  return NULL;
}

int main(int argc, char** argv) {
  QXSP_FILE_HEADER header;
  pthread_t feeder;
  sem_init(&enough, 0, 0);
  for (int round = 1; round <= 2; ++round) {
    if (argc != 2 || !open_camera(argv[1], CAMERA_STEADY, &header) || !QXSP_InitSDK()) return 1;
    QXSP_SetCallBack(note_picture, NULL, NULL, NULL);
    player = QXSP_CreatePlayer();
    if (!QXSP_OpenStream(player, &header, sizeof(header))) return 1;
    if (pthread_create(&feeder, NULL, feed, NULL) != 0 || !wait_for(&shown)) return 1;
    sem_post(&enough);  // 1. nobody is in a call for this player any more
    pthread_join(feeder, NULL);
    QXSP_ReleasePlayer(player);  // 2. no thread of it runs, no callback comes any more
    while (sem_trywait(&shown) == 0)
      continue;
    QXSP_ReleaseSDK();  // 3. devices and codec libraries are given back
    printf("round %d: released again: %d\n", round, (int)QXSP_ReleasePlayer(player));
  }  // 4. now windows may go, and the library be unloaded
  return sem_trywait(&shown) == 0;
}
