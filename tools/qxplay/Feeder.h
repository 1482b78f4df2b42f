// Plays the camera: reads one source on a thread of its own and pushes its frames, at a camera's pace, into
// one or more players.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tools/common/Console.h"
#include "tools/common/Mutex.h"
#include "tools/qxplay/AccessUnitSource.h"
#include "tools/qxplay/LivePacer.h"
#include "tools/qxplay/Options.h"
#include "tools/qxplay/Source.h"
#include "tools/qxplay/StreamPlayer.h"

// Options, tiles and console outlive it.
class Feeder : public Source {
 public:
  // wake: called on the feeder's thread when the source has ended or failed.
  Feeder(const std::string& address, const Options& options, const std::vector<Tile*>& tiles,
         Console& console, std::function<void()> wake);
  ~Feeder() override;
  Feeder(const Feeder&) = delete;
  Feeder& operator=(const Feeder&) = delete;

  void Start() override;
  void Stop() override;
  std::optional<Time> Update(Time) override { return std::nullopt; }
  bool HasEnded() const override { return m_bEnded; }
  bool HasFailed() const override { return m_bFailed; }
  bool CanGoBack() const override { return false; }
  void Do(const Command&, Time) override {}
  std::optional<FileStatus> Status() const override { return std::nullopt; }
  const PixelView* LeftBehind() override { return nullptr; }

 private:
  void Run();
  bool OpenPlayers();
  bool FeedOnce(LivePacer& pacer);
  bool WaitUntil(std::chrono::steady_clock::time_point time);
  bool Fail(const std::string& text);

  const std::string m_strAddress;
  const bool m_bLoop;
  std::vector<StreamPlayer> m_Players;  // the thread's own
  Console& m_Console;
  const std::function<void()> m_Wake;
  std::atomic<bool> m_bStop = false;
  std::atomic<bool> m_bEnded = false;
  std::atomic<bool> m_bFailed = false;
  // The thread's own.
  AccessUnitSource m_Source;
  // Wakes the thread while it waits for a frame's time.
  Mutex m_Mutex;
  std::condition_variable_any m_Stopped;
  std::jthread m_Thread;
};
