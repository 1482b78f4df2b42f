#include "api/PlayerTable.h"

#include <array>
#include <atomic>

#include "src/kitc/Lock.h"

namespace {

// Made when the library is loaded, destroyed when it is unloaded. The lock comes first: it outlives the
// players.
Lock g_PlayersLock;
std::array<Player, kMaxPlayers> g_Players;
// Written under g_PlayersLock, read without it.
std::array<std::atomic<uint8_t>, kMaxPlayers> g_bPlayerUsed{};

// Ends all playing when the library is unloaded or the process exits. Made with the first player, later than
// every static object of the library, it goes first: no play thread meets a destroyed one.
struct PlayingEnds {
  ~PlayingEnds() { player_table::ResetAll(); }
};

}  // namespace

namespace player_table {

Player* Find(uint32_t nPlayerID) {
  return nPlayerID < kMaxPlayers && g_bPlayerUsed[nPlayerID] != 0 ? &g_Players[nPlayerID] : nullptr;
}

int32_t Create() {
  static const PlayingEnds playingEnds;
  ScopedLock hold(g_PlayersLock);
  for (uint32_t slot = 0; slot < kMaxPlayers; ++slot) {
    if (g_bPlayerUsed[slot] != 0) continue;
    g_bPlayerUsed[slot] = 1;
    g_Players[slot].Reset();
    return static_cast<int32_t>(slot);
  }
  return -1;
}

bool Release(uint32_t nPlayerID) {
  ScopedLock hold(g_PlayersLock);
  Player* player = Find(nPlayerID);
  if (player == nullptr) return false;
  player->Reset();
  g_bPlayerUsed[nPlayerID] = 0;
  return true;
}

void SetName(uint32_t nPlayerID, String name) {
  ScopedLock hold(g_PlayersLock);
  if (Player* player = Find(nPlayerID)) player->SetName(std::move(name));
}

void ResetAll() {
  ScopedLock hold(g_PlayersLock);
  for (uint32_t slot = 0; slot < kMaxPlayers; ++slot) {
    if (Player* player = Find(slot)) player->Reset();
  }
}

std::span<Player> All() {
  return g_Players;
}

}  // namespace player_table
