// Starts and stops what all players share: codec libraries, screens, sound device, log; settings come from
// QXSDKP.ini.
#pragma once

#include <span>

#include "player/Player.h"

namespace startup {

// Reads QXSDKP.ini beside the host's executable, starts everything, numbers the players from 0 and configures
// the log. False, with the players unnumbered and the log as it was, when the H.264/H.265 library or the
// screens refuse; without sound it goes on. May be called again, with all sources closed. On the host's
// thread, while no other call is in the library.
bool InitSDK(std::span<Player> players);
// Stops what InitSDK started. No player may be playing.
void ReleaseSDK();

}  // namespace startup
