// Parts of cases that run in a process of their own: what they measure is not to contain what was before.
#pragma once

#include <string>
#include <vector>

// "--wall 64 LIVE FILE": so many streams of a clip, and the peer beside them.
void RunWall(const std::vector<std::string>& arguments);

// "--peer FILE COUNT BARE RATIO KIB": handles of libmpv that play the file, what a host would embed instead.
// Prints what they cost: over BARE ms of bare decode a frame, and beside our cost over bare decode and memory
// in KiB a stream. Says so when libmpv was not there at build time.
void RunPeer(const std::vector<std::string>& arguments);

// "--viewlock SCREENS": a load, with whatever QXSDKP.ini says beside the program.
void RunViewLockPart(const std::vector<std::string>& arguments);
