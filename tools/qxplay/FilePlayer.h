// Plays one recorded file in one tile: the library reads it, the transport says what it is to do.
#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/Console.h"
#include "tools/qxplay/RgbImage.h"
#include "tools/qxplay/Source.h"
#include "tools/qxplay/Tile.h"
#include "tools/qxplay/Transport.h"

// Main thread, but for what the play thread tells it. File, tile and console outlive it.
class FilePlayer : public Source, private RecordedFile, private TileListener {
 public:
  // wake: has Update called soon; any thread.
  FilePlayer(const std::string& file, bool loop, Tile& tile, Console& console, std::function<void()> wake);
  ~FilePlayer() override;

  void Start() override;
  void Stop() override;
  std::optional<Time> Update(Time now) override;
  bool HasEnded() const override { return m_bFailed || (m_Transport && m_Transport->Ended()); }
  bool HasFailed() const override { return m_bFailed; }
  bool CanGoBack() const override { return !m_bFailed; }
  void Do(const Command& command, Time now) override;
  std::optional<FileStatus> Status() const override;
  const PixelView* LeftBehind() override;

 private:
  // RecordedFile
  bool Open() override;
  void Play() override;
  void Pause() override;
  void StepForward() override;
  void SetSpeed(int exponent, bool keyFramesOnly) override;
  void GoTo(uint32_t frame) override;
  uint32_t ReadFrame() const override;
  // TileListener
  void OnNewPicture() override;
  void OnEndOfFile() override;

  FilePosition Position() const EXCLUDES(m_Mutex);
  void Fail(const std::string& text);

  const std::string m_strFile;
  const bool m_bLoop;
  Tile& m_Tile;
  Console& m_Console;
  const std::function<void()> m_Wake;

  // Main thread.
  int m_nWidth = 0;  // of its pictures, pixels; 0: not known
  int m_nHeight = 0;
  double m_dFramesPerSecond = 0;         // 0: not known
  std::optional<Transport> m_Transport;  // after the first successful Open
  bool m_bFailed = false;
  std::vector<uint32_t> m_LastPixels;  // of m_LastPicture
  PixelView m_LastPicture;             // once it was asked for

  std::atomic<bool> m_bAwaited = false;  // the next picture wakes
  std::atomic<bool> m_bFileEnded = false;
  mutable Mutex m_Mutex;
  FilePosition m_Position GUARDED_BY(m_Mutex);
};
