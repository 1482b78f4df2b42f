// One player of the library and its place in the window: where it shows, whether it is heard, and what became
// of its frames.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "include/qxsdkp.h"
#include "tools/common/Mutex.h"
#include "tools/qxplay/Layout.h"
#include "tools/qxplay/PresentationStats.h"

// Told on the play thread.
class TileListener {
 public:
  // A picture that was not shown before is about to be presented.
  virtual void OnNewPicture() = 0;
  // The recorded file has played to its end.
  virtual void OnEndOfFile() = 0;

 protected:
  ~TileListener() = default;
};

// Between QXSP_InitSDK and QXSP_ReleaseSDK. Whoever feeds the player opens its source between OnOpening and
// OnOpened.
class Tile {
 public:
  // Sees every presented picture on the screen's back surface, on a play thread. `tile`: where it lies on the
  // screen; `desktopTile`: the same on the desktop, unless the player has just been placed anew.
  using PictureSink = std::function<void(void* surface, const QXSP_RECT& tile, const Area& desktopTile)>;
  // For all players; before the first one, and valid until the last is gone.
  static void InstallCallbacks(PictureSink sink);

  // name: of the source, also for the library's log. mode: frame-control mode.
  Tile(std::string name, uint32_t mode);
  ~Tile();
  Tile(const Tile&) = delete;
  Tile& operator=(const Tile&) = delete;
  // False: the library has no more players.
  bool Exists() const { return m_nPlayerID != QXSP_NO_PLAYER; }
  uint32_t PlayerID() const { return static_cast<uint32_t>(m_nPlayerID); }
  const std::string& Name() const { return m_strName; }

  // Around the opening of a source. Any thread.
  void OnOpening() EXCLUDES(m_Mutex);
  // The player forgot its window and its sound when it opened the source; this gives them back. width,
  // height: of the pictures; 0 asks the player, which may be at its first one and be done before it is seen.
  void OnOpened(int width, int height) EXCLUDES(m_Mutex);
  // Puts the picture, in its own shape, into the middle of a cell of the window. Any thread.
  void Place(void* window, const Area& cell) EXCLUDES(m_Mutex);
  // Whether its sound is to be heard, of this source and of later ones. Any thread.
  void SetSound(bool on) EXCLUDES(m_Mutex);
  // Where the picture is, desktop coordinates; empty while no source was opened. Any thread.
  Area Picture() EXCLUDES(m_PictureMutex);
  // Shows the last picture again. Any thread.
  void Redraw();
  // Null for none. While the player has no source.
  void SetListener(TileListener* listener) { m_pListener = listener; }

  PresentationStats& Stats() { return m_Stats; }

 private:
  void ShowInPlace() REQUIRES(m_Mutex);
  static void QXSP_CALLBACK OnPicture(uint32_t nPlayerID, const uint8_t*, const uint8_t*, const uint8_t*,
                                      uint32_t, uint32_t);
  static void QXSP_CALLBACK OnPresented(uint32_t nPlayerID, void*, void*, void* surface, QXSP_RECT* target,
                                        QXSP_RECT*);
  static void QXSP_CALLBACK OnEvent(uint32_t nPlayerID, uint32_t dwEvent);

  const int32_t m_nPlayerID;
  const std::string m_strName;
  PresentationStats m_Stats;
  std::atomic<TileListener*> m_pListener = nullptr;
  // Play thread only: a picture that spans two screens is presented on both and counts once.
  bool m_bCounted = true;
  Mutex m_Mutex;  // held over calls that place the picture; the play thread takes m_PictureMutex only
  bool m_bOpen GUARDED_BY(m_Mutex) = false;
  int m_nWidth GUARDED_BY(m_Mutex) = 0;  // of the source's pictures, pixels
  int m_nHeight GUARDED_BY(m_Mutex) = 0;
  void* m_pWindow GUARDED_BY(m_Mutex) = nullptr;
  Area m_Cell GUARDED_BY(m_Mutex);
  bool m_bSound GUARDED_BY(m_Mutex) = false;
  Mutex m_PictureMutex;
  Area m_Picture GUARDED_BY(m_PictureMutex);  // desktop coordinates
};
