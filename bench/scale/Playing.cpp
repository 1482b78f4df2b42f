#include "bench/scale/Playing.h"

#include <sys/resource.h>

#include <array>
#include <memory>
#include <thread>

#include "bench/Measure.h"
#include "bench/scale/Streams.h"

namespace {

// One player's frames. The feeder writes a frame before it hands it over, the play thread then says when it
// was shown, and the feeder reads that when the play thread has ended.
struct Track {
  struct Frame {
    Clock::time_point pushed;
    Clock::time_point shown;  // zero: not (yet)
    bool bMeasured;
  };
  std::vector<Frame> frames;  // as many as will arrive
  size_t nPushed = 0;         // feeder
  size_t nDecoded = 0;        // play thread
};
std::array<Track, QXSP_MAX_PLAYERS> g_Tracks;

void NoteShown(Track& track) {
  if (track.nDecoded <= track.frames.size()) track.frames[track.nDecoded - 1].shown = Clock::now();
}

// Counts pictures, because those that get no further must not shift the times of those after them.
void QXSP_CALLBACK OnPicture(uint32_t player, const uint8_t*, const uint8_t*, const uint8_t*, uint32_t,
                             uint32_t) {
  ++g_Tracks[player].nDecoded;
}

void QXSP_CALLBACK OnPictureWithoutWindow(uint32_t player, const uint8_t*, const uint8_t*, const uint8_t*,
                                          uint32_t, uint32_t) {
  ++g_Tracks[player].nDecoded;
  NoteShown(g_Tracks[player]);
}

void QXSP_CALLBACK OnShown(uint32_t player, void*, void*, void*, QXSP_RECT*, QXSP_RECT*) {
  NoteShown(g_Tracks[player]);
}

// A wall of windows of 176x144, which begins anew where it is full.
QXSP_RECT PlaceOf(const Load& load, uint32_t stream) {
  constexpr int32_t kWidth = 176, kHeight = 144, kColumns = 10, kRows = 7, kScreenWidth = 1920;
  const auto screen = static_cast<int32_t>(stream % load.nScreens);
  const auto tile = static_cast<int32_t>(stream / load.nScreens) % (kColumns * kRows);
  const int32_t x = screen * kScreenWidth + tile % kColumns * kWidth;
  const int32_t y = tile / kColumns * kHeight;
  return {x, y, x + kWidth, y + kHeight};
}

std::vector<uint32_t> OpenPlayers(const Load& load) {
  const QXSP_FILE_HEADER header = LiveHeader(load.clip.nWidth, load.clip.nHeight, load.nFramesPerSecond);
  const auto framesEach = static_cast<size_t>(kEndMs / 1000 * load.nFramesPerSecond) + 1;
  std::vector<uint32_t> players;
  for (uint32_t i = 0; i < load.nStreams; ++i) {
    const bool atOnce = load.bLastAtOnce && i + 1 == load.nStreams;
    players.push_back(OpenStream(header, atOnce ? QXSP_MODE_AT_ONCE : QXSP_MODE_DEFAULT, PlaceOf(load, i)));
    if (!load.bWindows) QXSP_SetVideoPreview(players.back(), nullptr, nullptr, 0);
    g_Tracks[players.back()] = Track();
    g_Tracks[players.back()].frames.resize(framesEach);
  }
  return players;
}

class Feeder {
 public:
  Feeder(const Load& load, const std::vector<uint32_t>& players) : m_Load(load), m_Players(players) {}

  void Feed(Played& played) {
    const std::vector<Arrival> arrivals = Arrivals(m_Load);
    m_Start = Clock::now();
    size_t next = 0;
    for (; next < arrivals.size() && arrivals[next].atMs < kWarmMs; ++next)
      Push(arrivals[next], false, played);
    std::this_thread::sleep_until(At(kWarmMs));
    const double switches = ContextSwitches();
    const double cpu = ProcessCpuMs();
    const double own = ThreadCpuMs();
    m_PushCpuMs = 0;
    played.frames = arrivals.size() - next;
    for (; next < arrivals.size(); ++next)
      Push(arrivals[next], true, played);
    std::this_thread::sleep_until(At(kEndMs));
    played.feederMs = ThreadCpuMs() - own - m_PushCpuMs;
    played.cpuMs = ProcessCpuMs() - cpu - played.feederMs;
    played.switches = ContextSwitches() - switches;
    played.during = ReadProcessFigures();
  }

 private:
  Clock::time_point At(double ms) const {
    return m_Start +
           std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(ms));
  }

  static double ContextSwitches() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_nvcsw + usage.ru_nivcsw);
  }

  // The times of the frames are their camera's, which starts at 0.
  void Push(const Arrival& arrival, bool measured, Played& played) {
    std::this_thread::sleep_until(At(arrival.atMs));
    const AccessUnit& unit = m_Load.clip.units[UnitOf(m_Load, arrival)];
    const uint32_t player = m_Players[arrival.stream];
    const uint32_t ms = arrival.frame * 1000 / static_cast<uint32_t>(m_Load.nFramesPerSecond);
    Track& track = g_Tracks[player];
    const double cpu = ThreadCpuMs();
    const auto now = Clock::now();
    track.frames[track.nPushed] = {now, {}, measured};
    const int32_t result =
        QXSP_WriteToStreamOneFrame2(player, unit.data(), static_cast<uint32_t>(unit.size()), ms, 0);
    m_PushCpuMs += ThreadCpuMs() - cpu;
    if (result == QXSP_WRITE_QUEUED) {
      ++track.nPushed;
    } else {
      ++played.lost;
    }
    if (measured)
      played.feederLateMs.push_back(
          std::chrono::duration<double, std::milli>(now - At(arrival.atMs)).count());
  }

  const Load& m_Load;
  const std::vector<uint32_t>& m_Players;
  Clock::time_point m_Start;
  double m_PushCpuMs = 0;
};

void Collect(const std::vector<uint32_t>& players, Played& played) {
  for (const uint32_t player : players) {
    const Track& track = g_Tracks[player];
    for (size_t i = 0; i < track.nPushed; ++i) {
      const Track::Frame& frame = track.frames[i];
      if (frame.shown == Clock::time_point()) {
        ++played.lost;
      } else if (frame.bMeasured) {
        const double ms = std::chrono::duration<double, std::milli>(frame.shown - frame.pushed).count();
        played.lateMs.push_back(ms);
        if (player == players.back()) played.lateMsOfLast.push_back(ms);
      }
    }
  }
}

}  // namespace

Played PlayLoad(const Load& load) {
  QXSP_SetCallBack(load.bWindows ? OnPicture : OnPictureWithoutWindow, nullptr, nullptr, OnShown);
  Played played;
  played.before = ReadProcessFigures();
  const std::vector<uint32_t> players = OpenPlayers(load);
  Feeder(load, players).Feed(played);
  // What is on its way when the time is over is still shown.
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  for (const uint32_t player : players)
    QXSP_ReleasePlayer(player);
  QXSP_SetCallBack(nullptr, nullptr, nullptr, nullptr);
  Collect(players, played);
  return played;
}
