// The fixed table of 512 players and who of them is handed out.
#pragma once

#include <cstdint>
#include <span>

#include "player/Player.h"
#include "src/kitc/ThrowingAllocator.h"

constexpr uint32_t kMaxPlayers = 512;

namespace player_table {

// The player behind an identifier; null above 511 or for a free slot. Takes no lock: the host does not
// release a player that it is calling.
Player* Find(uint32_t nPlayerID);

// The lowest free slot, its player reset; -1 when all are in use.
int32_t Create();
// False for an identifier that is not in use. Waits for the player's threads.
bool Release(uint32_t nPlayerID);
void SetName(uint32_t nPlayerID, String name);
// Resets every player in use; the slots stay used.
void ResetAll();

std::span<Player> All();

}  // namespace player_table
