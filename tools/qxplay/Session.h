// One run of qxplay: the sources, their players in a grid, the progress and the contact sheet.
#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "tools/common/Console.h"
#include "tools/common/Mutex.h"
#include "tools/qxplay/ContactSheet.h"
#include "tools/qxplay/Feeder.h"
#include "tools/qxplay/Host.h"
#include "tools/qxplay/Options.h"
#include "tools/qxplay/Progress.h"
#include "tools/qxplay/StreamPlayer.h"

// On the main thread, between QXSP_InitSDK and QXSP_ReleaseSDK. Options, host and console outlive it.
class Session {
 public:
  // sheetFile: where the contact sheet goes; empty: none is made.
  Session(const Options& options, Host& host, Console& console, std::string sheetFile);
  ~Session();

  // Plays until the sources end, the time is over or the user ends it. Answers the program's result: 0, or 1
  // when a source failed, nothing was presented or the contact sheet could not be written.
  int Run();

 private:
  using Clock = std::chrono::steady_clock;

  bool MakePlayers();
  void PlaceAll();
  void FillAroundPictures();
  void RedrawAll();
  bool Loop();
  bool HavePlayedOut(Clock::time_point now);
  void Report(Clock::time_point now);
  bool Finish();
  uint64_t PresentedByAll();
  void Capture(void* surface, const QXSP_RECT& tile, const Area& desktopTile) EXCLUDES(m_Mutex);
  void CopyTiles(const PixelView& screen, const Area& window, int right, int down,
                 std::vector<uint32_t>& target);

  const Options& m_Options;
  Host& m_Host;
  Console& m_Console;
  const std::string m_strSheetFile;
  const Clock::time_point m_Start = Clock::now();
  // Declared in the order of their use: the feeders end before the players, and the sheet outlives both.
  ContactSheet m_Sheet;
  Mutex m_Mutex;
  Area m_Window GUARDED_BY(m_Mutex);  // desktop coordinates; read by play threads
  std::vector<std::unique_ptr<StreamPlayer>> m_Players;
  std::vector<std::unique_ptr<Feeder>> m_Feeders;

  // Main thread only.
  Clock::time_point m_LastReport = m_Start;
  uint64_t m_nPresentedAtReport = 0;
  bool m_bFillAgain = false;    // with the next report: the last strays come after the window was filled
  Clock::time_point m_Ended{};  // when the last feeder was seen to have ended
};
