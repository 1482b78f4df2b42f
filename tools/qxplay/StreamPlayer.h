// The live input of one tile: opens the library's stream and pushes frames into it.
#pragma once

#include "tools/qxplay/AccessUnitSource.h"
#include "tools/qxplay/Tile.h"

// The tile outlives it. One thread.
class StreamPlayer {
 public:
  explicit StreamPlayer(Tile& tile) : m_Tile(tile) {}

  // False when the library refuses the stream.
  bool Open(const StreamInfo& info);
  void Push(const AccessUnit& unit);

 private:
  Tile& m_Tile;
};
