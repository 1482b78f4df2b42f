// Counts what one player was given and what it showed, and how long each frame took from the one to the
// other.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <vector>

#include "tools/common/Mutex.h"

// Any thread. Frames are matched to pictures in order: a frame that the library could not decode stays
// counted as queued and makes the later ones look late by a frame, until the queue looks longer than the
// library's can be.
class PresentationStats {
 public:
  using Time = std::chrono::steady_clock::time_point;

  struct Totals {
    uint64_t pushed = 0;     // accepted by the player
    uint64_t refused = 0;    // by the player: no key frame yet, or its queue is full
    uint64_t presented = 0;  // pictures
    size_t queued = 0;       // pushed and not yet presented
    Time lastPresented;      // meaningful when presented is above 0
  };

  // Around the push of a frame; OnPushing before it, because the picture may be shown before the push
  // returns.
  void OnPushing(Time now);
  void OnRefused();
  void OnPresented(Time now);
  // A picture came that nothing showed.
  void OnUnseen();

  Totals GetTotals() const;
  // Latencies of the pictures since the last call, ms, in no order.
  std::vector<double> TakeLatencies();

 private:
  mutable Mutex m_Mutex;
  std::deque<Time> m_Pushed GUARDED_BY(m_Mutex);  // of the queued frames
  std::vector<double> m_Latencies GUARDED_BY(m_Mutex);
  uint64_t m_nPushed GUARDED_BY(m_Mutex) = 0;
  uint64_t m_nRefused GUARDED_BY(m_Mutex) = 0;
  uint64_t m_nPresented GUARDED_BY(m_Mutex) = 0;
  Time m_LastPresented GUARDED_BY(m_Mutex);
};
