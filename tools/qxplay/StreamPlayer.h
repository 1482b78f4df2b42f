// One player of the library: its stream, its place in the window, and what became of its frames.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "include/qxsdkp.h"
#include "tools/common/Mutex.h"
#include "tools/qxplay/AccessUnitSource.h"
#include "tools/qxplay/Layout.h"
#include "tools/qxplay/PresentationStats.h"

// Between QXSP_InitSDK and QXSP_ReleaseSDK.
class StreamPlayer {
 public:
  // Sees every presented picture on the screen's back surface, on a play thread. `tile`: where it lies on the
  // screen; `desktopTile`: the same on the desktop, unless the player has just been placed anew.
  using PictureSink = std::function<void(void* surface, const QXSP_RECT& tile, const Area& desktopTile)>;
  // For all players; before the first one, and valid until the last is gone.
  static void InstallCallbacks(PictureSink sink);

  // mode: frame-control mode. name: for the library's log.
  StreamPlayer(const std::string& name, uint32_t mode);
  ~StreamPlayer();
  StreamPlayer(const StreamPlayer&) = delete;
  StreamPlayer& operator=(const StreamPlayer&) = delete;
  // False: the library has no more players.
  bool Exists() const { return m_nPlayerID != QXSP_NO_PLAYER; }

  // Opens a stream in the place given last; false when the library refuses it. Any thread.
  bool Open(const StreamInfo& info) EXCLUDES(m_Mutex);
  // Puts the picture, in its own shape, into the middle of a cell of the window. Any thread.
  void Place(void* window, const Area& cell) EXCLUDES(m_Mutex);
  // Where the picture is, desktop coordinates; empty while no stream is open. Any thread.
  Area Tile() EXCLUDES(m_TileMutex);
  // Hands one frame to the player. One thread.
  void Push(const AccessUnit& unit);
  // Shows the last picture again. Any thread.
  void Redraw();

  PresentationStats& Stats() { return m_Stats; }

 private:
  void ShowInPlace() REQUIRES(m_Mutex);
  static void QXSP_CALLBACK OnPicture(uint32_t nPlayerID, const uint8_t*, const uint8_t*, const uint8_t*,
                                      uint32_t, uint32_t);
  static void QXSP_CALLBACK OnPresented(uint32_t nPlayerID, void*, void*, void* surface, QXSP_RECT* target,
                                        QXSP_RECT*);

  const int32_t m_nPlayerID;
  PresentationStats m_Stats;
  // Play thread only: a picture that spans two screens is presented on both and counts once.
  bool m_bCounted = true;
  Mutex m_Mutex;  // held over calls that place the picture; the play thread takes m_TileMutex only
  StreamInfo m_Info GUARDED_BY(m_Mutex);
  bool m_bOpen GUARDED_BY(m_Mutex) = false;
  void* m_pWindow GUARDED_BY(m_Mutex) = nullptr;
  Area m_Cell GUARDED_BY(m_Mutex);
  Mutex m_TileMutex;
  Area m_Tile GUARDED_BY(m_TileMutex);  // desktop coordinates
};
