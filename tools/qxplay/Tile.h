// One player of the library and its tile in the window: where it shows, what is drawn into its pictures,
// whether it is heard, and what became of its frames.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "include/qxsdkp.h"
#include "tools/common/Mutex.h"
#include "tools/qxplay/PresentationStats.h"
#include "tools/qxplay/TileView.h"

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
  // Sees every presented picture on the screen's back surface, on a play thread. `place`: where it lies on
  // the screen; `desktopPlace`: the same on the desktop, unless the player has just been placed anew.
  using PictureSink = std::function<void(void* surface, const QXSP_RECT& place, const Area& desktopPlace)>;
  // For all players; before the first one, and valid until the last is gone.
  static void InstallCallbacks(PictureSink sink);

  struct Setup {
    std::string name;                // of the source, also for the library's log
    bool live = false;               // it is a live stream
    uint32_t mode = 0;               // frame-control mode
    std::vector<std::string> texts;  // lines in the picture, GB2312
  };
  explicit Tile(Setup setup);
  ~Tile();
  Tile(const Tile&) = delete;
  Tile& operator=(const Tile&) = delete;
  // False: the library has no more players.
  bool Exists() const { return m_nPlayerID != QXSP_NO_PLAYER; }
  uint32_t PlayerID() const { return static_cast<uint32_t>(m_nPlayerID); }
  const std::string& Name() const { return m_Setup.name; }
  bool IsLive() const { return m_Setup.live; }

  // Around the opening of a source. Any thread.
  void OnOpening() EXCLUDES(m_Mutex);
  // Gives the player back what it forgot when it opened the source. width, height: of the pictures; 0: the
  // player knows.
  void OnOpened(int width, int height) EXCLUDES(m_Mutex);

  // Main thread, but for what it gives to any.
  TileView& View() { return m_View; }
  // Whether its sound is to be heard, of this source and of later ones.
  void SetSound(bool on) EXCLUDES(m_Mutex);
  // Whether its pictures are processed, of this source and of later ones. False without the library for it.
  bool SetProcessing(bool on) EXCLUDES(m_Mutex);
  bool IsProcessing() const EXCLUDES(m_Mutex);
  // The statistics of a live stream in place of the texts.
  void SetStatistics(bool on);
  bool HasStatistics() const { return m_bStatistics; }
  // Shows the last picture again, if there is one; it is not counted again. Any thread.
  void Redraw();
  // Null for none. While the player has no source.
  void SetListener(TileListener* listener) { m_pListener = listener; }

  PresentationStats& Stats() { return m_Stats; }

 private:
  void ShowTexts();
  void OnShown(void* window, void* surface, const QXSP_RECT& target);
  static void QXSP_CALLBACK OnPicture(uint32_t nPlayerID, const uint8_t*, const uint8_t*, const uint8_t*,
                                      uint32_t, uint32_t);
  static void QXSP_CALLBACK OnPresented(uint32_t nPlayerID, void* window, void*, void* surface,
                                        QXSP_RECT* target, QXSP_RECT*);
  static void QXSP_CALLBACK OnEvent(uint32_t nPlayerID, uint32_t dwEvent);

  const Setup m_Setup;
  const int32_t m_nPlayerID;
  TileView m_View;
  PresentationStats m_Stats;
  std::atomic<TileListener*> m_pListener = nullptr;
  // Written by the play thread while a source is open.
  std::atomic<bool> m_bHasPicture = false;  // of this source
  std::atomic<bool> m_bCounted = false;     // it was presented; on two screens it counts once
  std::atomic<bool> m_bRedraw = false;      // the next picture is the last one again
  bool m_bStatistics = false;               // main thread
  mutable Mutex m_Mutex;
  bool m_bOpen GUARDED_BY(m_Mutex) = false;
  bool m_bSound GUARDED_BY(m_Mutex) = false;
  bool m_bProcessing GUARDED_BY(m_Mutex) = false;
};
