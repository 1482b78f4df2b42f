// One run of qxplay: the sources, their tiles in a grid, the commands of the user, the progress and the
// contact sheet.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "tools/common/Console.h"
#include "tools/qxplay/GridView.h"
#include "tools/qxplay/Host.h"
#include "tools/qxplay/Options.h"
#include "tools/qxplay/PictureControl.h"
#include "tools/qxplay/Progress.h"
#include "tools/qxplay/SheetCamera.h"
#include "tools/qxplay/Source.h"
#include "tools/qxplay/Tile.h"

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

  bool MakeTiles();
  void PlaceAll();
  void FillAroundPictures();
  void Redraw(size_t tile);
  void RedrawAll();
  bool Loop();
  Clock::time_point NextWake(Clock::time_point now);
  bool HavePlayedOut(Clock::time_point now);
  void Take(const HostEvents& events, Clock::time_point now);
  void Do(const Command& command, Clock::time_point now);
  void DoOnSources(const Command& command, Clock::time_point now);
  void Do(const Gesture& gesture);
  void UpdateSound();
  void Measure(Clock::time_point now);
  bool HasChanged();
  void ShowProgress();
  bool Finish();
  Source& ShownSource() const { return *m_SourceOfTile[m_Grid.Shown()]; }

  const Options& m_Options;
  Host& m_Host;
  Console& m_Console;
  const std::string m_strSheetFile;
  const Clock::time_point m_Start = Clock::now();
  // Declared in the order of their use: the sources end before the tiles, and the camera outlives both.
  SheetCamera m_Camera;
  std::vector<std::unique_ptr<Tile>> m_Tiles;
  std::vector<std::unique_ptr<Source>> m_Sources;

  // Main thread only.
  std::vector<Source*> m_SourceOfTile;
  GridView m_Grid{1};
  Gestures m_Gestures;
  PictureControl m_Pictures;
  bool m_bMuted = false;
  bool m_bTouched = false;                  // by the user, since progress was shown
  std::optional<FileStatus> m_ShownStatus;  // in the progress shown last
  bool m_bQuit = false;
  std::optional<Clock::time_point> m_NextUpdate;  // of a source
  Progress m_Progress;                            // as measured last
  Clock::time_point m_LastReport = m_Start;
  bool m_bFillAgain = false;    // with the next report: the last strays come after the window was filled
  Clock::time_point m_Ended{};  // when all sources were seen to have ended
};
