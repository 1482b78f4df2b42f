// The optional picture processing of one player, and the library behind it.
#pragma once

#include <cstdint>

#include "qimagep.h"
#include "video/DecodedPicture.h"

// No lock of its own: the player's m_ImageProcLock is held around every call but InitSDK and ReleaseSDK.
class ImageProc {
 public:
  // Loads the library, again when it is loaded. False when it is not there, lacks a function, or refuses:
  // pictures are then shown as they are. Waits for pictures being processed.
  static bool InitSDK();
  static void ReleaseSDK();

  ImageProc() = default;
  ~ImageProc() { Release(); }
  ImageProc(const ImageProc&) = delete;
  ImageProc& operator=(const ImageProc&) = delete;

  // False when there is no library, or it refuses.
  bool SetImageProc(bool enable);
  // Replaces planes and strides of a planar picture by those of the processed one, which are valid until the
  // next call and no longer than the planes before. False, with nothing replaced, when processing is off or
  // fails. After a crash of the library it is off. Video play thread.
  bool Process(DecodedPicture& picture, uint32_t nPlayerID);
  // Off, and gives back what the library made for this player.
  void Release();

 private:
  bool bEnabled = false;
  QXI_Handle hProc = nullptr;
  uint32_t m_nLoad = 0;  // which load of the library hProc is of
};
