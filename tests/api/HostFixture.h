// A host for tests: the library started on a scripted display and a scripted codec library, and the pictures
// it presents counted.
#pragma once

#include <gmock/gmock.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include "include/qxsdkp.h"
#include "tests/support/LogLines.h"
#include "tests/support/ScriptedCodec05.h"
#include "tests/support/ScriptedDisplay.h"
#include "tests/support/TestSeam.h"

class HostFixture : public testing::Test {
 protected:
  HostFixture();
  ~HostFixture() override;

  static QXSP_FILE_HEADER Header(uint16_t width = 64, uint16_t height = 48);
  // The same with 8-bit PCM, 8 kHz, one channel.
  static QXSP_FILE_HEADER HeaderWithSound();
  // A new player that plays a stream without pacing, in a window.
  uint32_t OpenPlayer(const QXSP_FILE_HEADER& header = Header());
  static int32_t OpenStream(uint32_t player, const QXSP_FILE_HEADER& header);
  // A key frame; unless scripted, its picture's luma is 0, the start code's first byte.
  static int32_t PushKey(uint32_t player);
  static int32_t PushDelta(uint32_t player);

  // Calls `callback` before each copy to a back surface.
  static void SetBeforeCopy(QXSP_DRAW_CALLBACK callback);
  // Calls `callback` with every event.
  static void SetNotify(QXSP_NOTIFY_CALLBACK callback);

  // Blocks until `count` pictures in all were copied to a screen since the test began; false after 30 s.
  static bool WaitForPictures(int count);
  static int Pictures();

  TestSeam seam;
  ScriptedDisplay display{{{.monitor = {0, 0, 1920, 1080}, .work = {0, 0, 1920, 1040}}}};
};
