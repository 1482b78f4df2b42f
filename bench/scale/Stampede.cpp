// All 512 streams started at once by 16 host threads, again and again, while other threads pause, step, take
// snapshots and change the log; and the identifiers change hands in every round. Whatever a call answers that
// its description does not allow ends the program. The reference starts and joins as many threads, and opens,
// feeds and closes as many decoders of libavcodec, from 16 threads as well.
#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <cstdio>
#include <filesystem>
#include <random>
#include <thread>
#include <vector>

#include "bench/LiveClip.h"
#include "bench/Measure.h"
#include "bench/scale/Cases.h"
#include "bench/scale/PlainDecoder.h"
#include "bench/scale/Process.h"
#include "bench/scale/Shown.h"
#include "bench/scale/Streams.h"

namespace {

constexpr size_t kHosts = 16;
constexpr size_t kMeddlers = 2;
constexpr size_t kEach = QXSP_MAX_PLAYERS / kHosts;
constexpr int kRounds = 100;
constexpr int kReferenceRounds = 10;
constexpr size_t kFrames = 3;
constexpr unsigned kPatienceS = 600;
constexpr QXSP_RECT kPlace = {0, 0, 176, 144};

bool IsAnswer(int32_t result) {
  return result == 0 || result == 1;
}

class Stampede {
 public:
  explicit Stampede(const LiveClip& clip) : m_Clip(clip) {}

  void Run() {
    std::vector<std::thread> threads;
    for (size_t host = 0; host < kHosts; ++host)
      threads.emplace_back([this, host] {
        for (int round = 0; round < kRounds; ++round)
          PlayRound(host);
      });
    for (size_t seed = 0; seed < kMeddlers; ++seed)
      threads.emplace_back([this, seed] {
        std::minstd_rand chance(static_cast<unsigned>(seed + 1));
        for (int round = 0; round < kRounds; ++round)
          MeddleForARound(chance);
      });
    for (std::thread& thread : threads)
      thread.join();
    std::filesystem::remove_all(m_LogDirectory);
  }

  size_t Calls() const { return m_nCalls; }

 private:
  void PlayRound(size_t host) {
    std::vector<uint32_t>& mine = m_Players[host];
    for (size_t i = 0; i < kEach; ++i)
      mine.push_back(OpenOne());
    m_HostStep.arrive_and_wait();
    if (host == 0) {
      Require(QXSP_CreatePlayer() == QXSP_NO_PLAYER, "a player too many");
      m_bMeddle = false;
    }
    m_Step.arrive_and_wait();  // no other thread may be in a call for a player that is released
    std::vector<uint32_t> theirs;
    theirs.swap(m_Players[(host + 1) % kHosts]);
    for (uint32_t& player : theirs) {
      Release(player);
      player = OpenOne();
    }
    for (const uint32_t player : theirs) {
      Require(WaitShown(player, kFrames), "not every picture was shown");
      Require(QXSP_HasImage(player) == 1, "a shown picture that does not exist");
      Require(QXSP_CloseStream(player) == 1, "a stream does not close");
    }
    m_HostStep.arrive_and_wait();
    for (const uint32_t player : theirs)
      Release(player);
    if (host == 0) m_bMeddle = true;
    m_Step.arrive_and_wait();
  }

  uint32_t OpenOne() {
    const int32_t created = QXSP_CreatePlayer();
    Require(created >= 0 && created < QXSP_MAX_PLAYERS, "no identifier is left");
    const auto player = static_cast<uint32_t>(created);
    Require(!m_Taken[player].exchange(true), "an identifier is handed out twice");
    ForgetShown(player);
    const QXSP_FILE_HEADER header = LiveHeader(m_Clip.nWidth, m_Clip.nHeight, 25);
    Require(QXSP_OpenStream(player, &header, sizeof header) == 1, "a stream does not open");
    Require(QXSP_SetFrameControlMode(player, QXSP_MODE_AT_ONCE) == 1, "a mode is refused");
    Require(QXSP_SetVideoPreview(player, this, &kPlace, 1) == 1, "a window is refused");
    for (size_t i = 0; i < kFrames; ++i)
      PushLive(player, m_Clip.units[i]);
    return player;
  }

  void Release(uint32_t player) {
    m_Taken[player] = false;
    Require(QXSP_ReleasePlayer(player) == 1, "a player is not released");
  }

  void MeddleForARound(std::minstd_rand& chance) {
    std::vector<uint8_t> picture(static_cast<size_t>(m_Clip.nWidth * m_Clip.nHeight * 4));
    while (m_bMeddle)
      Meddle(chance, picture);
    m_Step.arrive_and_wait();
    m_Step.arrive_and_wait();
  }

  void Meddle(std::minstd_rand& chance, std::vector<uint8_t>& picture) {
    const auto player = static_cast<uint32_t>(chance() % QXSP_MAX_PLAYERS);
    int32_t width = 0;
    int32_t height = 0;
    bool isAnswer = true;
    switch (chance() % 9) {
      case 0:
        QXSP_Pause(player);
        break;
      case 1:
        isAnswer = IsAnswer(QXSP_Play(player));
        break;
      case 2:
        QXSP_StepForward(player);
        break;
      case 3:
        isAnswer = IsAnswer(QXSP_GetBitmap(player, picture.data(), static_cast<uint32_t>(picture.size())));
        break;
      case 4:
        isAnswer = IsAnswer(QXSP_GetBitmapSize(player, &width, &height));
        break;
      case 5:
        QXSP_ConfigLog(QXSP_LOG_ERROR + static_cast<int32_t>(chance() % 2), m_LogDirectory.c_str(),
                       QXSP_LOG_NONE);
        break;
      case 6:
        isAnswer = IsAnswer(QXSP_RefreshWindow(player));
        break;
      case 7:
        isAnswer = IsAnswer(QXSP_SetPlaySpeed(player, static_cast<int32_t>(chance() % 5) - 2, 0));
        break;
      default:
        isAnswer = IsAnswer(QXSP_SetVideoPreview(player, this, &kPlace, 1));
        break;
    }
    Require(isAnswer, "an answer that is neither 0 nor 1");
    ++m_nCalls;
  }

  const LiveClip& m_Clip;
  const std::string m_LogDirectory =
      std::filesystem::temp_directory_path() / ("qx-bench-" + std::to_string(getpid()));
  std::barrier<> m_HostStep{kHosts};
  std::barrier<> m_Step{kHosts + kMeddlers};
  std::atomic<bool> m_bMeddle{true};  // changed between two steps
  std::atomic<size_t> m_nCalls{0};    // of the meddlers
  std::array<std::atomic<bool>, QXSP_MAX_PLAYERS> m_Taken{};
  // Each changes hands between two steps.
  std::array<std::vector<uint32_t>, kHosts> m_Players;
};

// ms a round: every stream is started twice, with two threads each time.
double MeasureReference(const LiveClip& clip) {
  const auto start = Clock::now();
  for (int round = 0; round < 2 * kReferenceRounds; ++round) {
    std::vector<std::thread> hosts;
    for (size_t host = 0; host < kHosts; ++host)
      hosts.emplace_back([&] {
        std::vector<std::thread> started;
        for (size_t i = 0; i < kEach; ++i) {
          started.emplace_back([&] { DecodeOnce(clip, kFrames); });
          started.emplace_back([] {});
        }
        for (std::thread& thread : started)
          thread.join();
      });
    for (std::thread& host : hosts)
      host.join();
  }
  return MsSince(start) / kReferenceRounds;
}

}  // namespace

void RunStampede() {
  alarm(kPatienceS);  // a deadlock ends the program
  const LiveClip clip = ReadLiveClip(QX_SCALE_CLIP_176x144);
  const double referenceMs = MeasureReference(clip);
  StartLibrary();
  CountShown();
  const ProcessFigures before = ReadProcessFigures();
  const auto start = Clock::now();
  Stampede stampede(clip);
  stampede.Run();
  const double roundMs = MsSince(start) / kRounds;
  const ProcessFigures after = ReadProcessFigures();
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_NONE);
  std::printf(
      "  %d rounds: %.0f ms a round, bare threads and decoders %.0f, ratio %.2f; %zu calls beside them\n",
      kRounds, roundMs, referenceMs, roundMs / referenceMs, stampede.Calls());
  PrintLimited("all rounds", roundMs * kRounds / 1e3, " s", 120);
  PrintLimited("more threads than before",
               static_cast<double>(after.threads) - static_cast<double>(before.threads), "", 0);
  PrintLimited("more descriptors",
               static_cast<double>(after.descriptors) - static_cast<double>(before.descriptors), "", 0);
  Require(QXSP_CreatePlayer() == 0, "a player is left over");
  QXSP_ReleasePlayer(0);
  QXSP_ReleaseSDK();
}
