// Saves the pictures that players show as PNG files.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <string>
#include <thread>
#include <vector>

#include "tools/common/Console.h"
#include "tools/common/Mutex.h"

// Pictures are taken at once and written by a thread of its own, all of them before it is destroyed.
class Snapshots {
 public:
  // directory: made when it is missing; empty: the current one.
  Snapshots(std::string directory, Console& console);
  ~Snapshots();
  Snapshots(const Snapshots&) = delete;
  Snapshots& operator=(const Snapshots&) = delete;

  // The picture that the player decoded last. The console tells where it went, or what failed. Main thread.
  void Take(uint32_t nPlayerID, const std::string& source) EXCLUDES(m_Mutex);

 private:
  // Pictures that wait to be written hold no more memory than this.
  static constexpr size_t kMostWaitingBytes = size_t{512} << 20;

  struct Picture {
    std::string source;
    std::string name;
    std::vector<uint32_t> pixels;
    int width = 0;
    int height = 0;
  };

  void Run() EXCLUDES(m_Mutex);
  void Write(const Picture& picture);

  const std::string m_strDirectory;
  Console& m_Console;
  Mutex m_Mutex;
  std::condition_variable_any m_Changed;
  std::deque<Picture> m_Waiting GUARDED_BY(m_Mutex);
  size_t m_nWaitingBytes GUARDED_BY(m_Mutex) = 0;  // with the one being written
  bool m_bStop GUARDED_BY(m_Mutex) = false;
  std::jthread m_Thread;
};
