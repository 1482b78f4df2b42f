// Plays a camera with a tone of 500 Hz as its sound: sound CAMERA
#include <stdio.h>

#include "tools/examples/support.h"

int main(int argc, char** argv) {
  QXSP_FILE_HEADER header;
  uint8_t tone[320];  // 40 ms of A-law at 8000 Hz
  const uint8_t* frame;
  uint32_t size;
  int64_t ms = 0;
  int pictures = 0;
  for (int i = 0; i < 320; ++i)
    tone[i] = i % 16 < 8 ? 0xA5 : 0x25;
  if (argc != 2 || !open_camera(argv[1], CAMERA_STEADY, &header) || !QXSP_InitSDK()) return 1;
  QXSP_ConfigLog(QXSP_LOG_NONE, NULL, QXSP_LOG_INFO);  // which tells when the sound has run out
  header.wVideoDataType = QXSP_DATA_VIDEO_AND_AUDIO;
  header.wAudioCodecID = QXSP_AUDIO_ALAW;
  header.wAudioSampleRate = 8000;
  header.wAudioChannels = 1;
  header.wAudioBits = 16;  // of the decoded samples
  QXSP_SetCallBack(note_picture, NULL, NULL, NULL);
  const int32_t player = QXSP_CreatePlayer();
  if (!QXSP_OpenStream(player, &header, sizeof(header))) return 1;
  if (!QXSP_SetAudioPreview(player, WINDOW, 1)) return puts("no sound device"), 2;
  while ((size = read_camera(&frame, &ms)) > 0) {
    if (write_frame(player, frame, size, ms) == QXSP_WRITE_QUEUED) ++pictures;
    write_frame(player, tone, sizeof(tone), ms);
  }
  // The last picture once more, when the sound has been heard.
  if (write_frame(player, NULL, 0, ms + 400) == QXSP_WRITE_QUEUED) ++pictures;
  while (pictures > 0 && wait_for(&shown))
    --pictures;
  QXSP_ReleasePlayer(player);
  QXSP_ReleaseSDK();
  return pictures;
}
