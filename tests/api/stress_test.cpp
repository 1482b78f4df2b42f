// Many host threads at once: frames pushed while others open streams and files, close, move, seek, pause,
// stop, reset and release. Made to run under the thread sanitizer.
#include <array>
#include <atomic>
#include <barrier>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/api/HostFixture.h"
#include "tests/support/Recording.h"
#include "tests/support/TempDir.h"

namespace {

class Stress : public HostFixture {};

constexpr uint32_t kPlayers = 4;

// One thing that a host might do, chosen by chance. Players may or may not exist and be open.
void DoSomething(std::minstd_rand& chance, const QXSP_FILE_HEADER& header, const std::string& file) {
  const auto player = static_cast<uint32_t>(chance() % kPlayers);
  const QXSP_RECT window = {0, 0, 64, 48};
  int handle = 0;
  switch (chance() % 20) {
    case 0:
      QXSP_OpenStream(player, &header, sizeof header);
      break;
    case 1:
      QXSP_CloseStream(player);
      break;
    case 2:
      QXSP_Stop(player);
      break;
    case 3:
      QXSP_ReleasePlayer(player);
      QXSP_CreatePlayer();
      break;
    case 4:
      QXSP_SetVideoPreview(player, &handle, &window, 1);
      break;
    case 5:
      QXSP_SetVideoSubPreview(player, &handle, &window, static_cast<int32_t>(chance() % 2));
      break;
    case 6:
      QXSP_Pause(player);
      QXSP_Play(player);
      break;
    case 7:
      QXSP_SetPlaySpeed(player, static_cast<int32_t>(chance() % 5) - 2, 0);
      QXSP_StepForward(player);
      break;
    case 8:
      QXSP_SetPlayerName(player, "a name that is too long for the small buffer of a string");
      break;
    case 9:
      QXSP_SetFrameControlMode(player, 0x10);
      QXSP_SetFrameControlMode(player, 0x20 + static_cast<uint32_t>(chance() % 17));
      break;
    case 10:
      QXSP_RefreshWindow(player);
      break;
    case 11: {
      QXSP_FILE_HEADER copy;
      QXSP_GetHeaderData(player, &copy, sizeof copy);
      QXSP_HasImage(player);
      QXSP_SetUserData(player, QXSP_GetUserData(player) + 1);
      break;
    }
    case 12:
      QXSP_SetAudioPreview(player, &handle, 1);
      break;
    case 13:
      QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_ERROR + static_cast<int32_t>(chance() % 2));
      break;
    case 14:
    case 15:
      QXSP_OpenFile(player, file.c_str());
      break;
    case 16:
    case 17: {
      uint32_t position = 0;
      uint32_t number = 0;
      QXSP_GotoKeyFrame(player, static_cast<uint32_t>(chance() % 40), static_cast<int32_t>(chance() % 2));
      QXSP_GetKeyFramePos(player, &position, &number);
      EXPECT_LE(QXSP_GetCurFrameNum(player), 30u);
      EXPECT_LE(QXSP_GetTotalFrames(player), 30u);
      break;
    }
    default:
      QXSP_SetVideoPreview(player, &handle, &window, 0);
      break;
  }
}

}  // namespace

TEST_F(Stress, HostThreadsDoWhatTheyLikeWhileFramesArrive) {
  constexpr int kHostThreads = 3;
  constexpr int kRounds = 400;
  for (uint32_t i = 0; i < kPlayers; ++i)
    OpenPlayer();
  const QXSP_FILE_HEADER header = Header();
  const TempDir dir;
  Recording recording(5);
  for (uint32_t frame = 0; frame < 30; ++frame)
    recording.Add(frame % 10 == 0, "frame").Add(2, "sound");
  const std::string file = recording.Save(dir / "a.sv5");

  std::atomic<bool> pushing{true};
  std::vector<std::thread> threads;
  for (uint32_t player = 0; player < kPlayers; ++player) {
    threads.emplace_back([player, &pushing] {
      while (pushing) {
        PushKey(player);
        PushDelta(player);
        std::this_thread::yield();
      }
    });
  }
  std::vector<std::thread> hosts;
  for (unsigned seed = 1; seed <= kHostThreads; ++seed) {
    hosts.emplace_back([seed, &header, &file] {
      std::minstd_rand chance(seed);
      for (int round = 0; round < kRounds; ++round)
        DoSomething(chance, header, file);
    });
  }
  for (std::thread& host : hosts)
    host.join();
  pushing = false;
  for (std::thread& thread : threads)
    thread.join();
  QXSP_ConfigLog(QXSP_LOG_NONE, nullptr, QXSP_LOG_DEBUG);

  // Whatever happened, a player can be made to play.
  const int before = Pictures();
  for (uint32_t player = 0; player < kPlayers; ++player)
    QXSP_ReleasePlayer(player);
  const uint32_t player = OpenPlayer();
  EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
  EXPECT_TRUE(WaitForPictures(before + 1));
}

TEST_F(Stress, ManyPlayersAtOnceAndAgain) {
  constexpr uint32_t kMany = 64;
  for (int round = 0; round < 2; ++round) {
    const int before = Pictures();
    for (uint32_t i = 0; i < kMany; ++i)
      ASSERT_EQ(OpenPlayer(), i);
    for (uint32_t player = 0; player < kMany; ++player)
      ASSERT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
    EXPECT_TRUE(WaitForPictures(before + static_cast<int>(kMany)));
    for (uint32_t player = 0; player < kMany; ++player)
      ASSERT_EQ(QXSP_ReleasePlayer(player), 1);
  }
}

TEST_F(Stress, IdentifiersChangeHandsWhileAllAreInUse) {
  constexpr size_t kHosts = 4;
  constexpr size_t kEach = 16;
  for (size_t i = kHosts * kEach; i < QXSP_MAX_PLAYERS; ++i)
    ASSERT_NE(QXSP_CreatePlayer(), QXSP_NO_PLAYER);
  std::array<std::atomic<bool>, QXSP_MAX_PLAYERS> taken{};
  std::array<std::vector<uint32_t>, kHosts> players;  // change hands between two steps
  std::barrier<> step(kHosts);
  const auto open = [&] {
    const uint32_t player = OpenPlayer();
    EXPECT_FALSE(taken.at(player).exchange(true)) << player << " is handed out twice";
    EXPECT_EQ(PushKey(player), QXSP_WRITE_QUEUED);
    return player;
  };
  std::vector<std::thread> threads;
  for (size_t host = 0; host < kHosts; ++host) {
    threads.emplace_back([&, host] {
      for (size_t i = 0; i < kEach; ++i)
        players[host].push_back(open());
      step.arrive_and_wait();
      EXPECT_EQ(QXSP_CreatePlayer(), QXSP_NO_PLAYER);
      step.arrive_and_wait();
      for (uint32_t& player : players[(host + 1) % kHosts]) {
        taken.at(player) = false;
        EXPECT_EQ(QXSP_ReleasePlayer(player), 1);
        player = open();
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_TRUE(WaitForPictures(kHosts * kEach));
  EXPECT_EQ(QXSP_CreatePlayer(), QXSP_NO_PLAYER);
}
