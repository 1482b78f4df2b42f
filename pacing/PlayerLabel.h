// How log lines name a player: its identifier and the name that the host gave it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "src/kitc/Lock.h"

// Read by the play threads while the host renames the player; m_NameLock is a leaf.
class PlayerLabel {
 public:
  void SetPlayerID(uint32_t nPlayerID) { m_nPlayerID = nPlayerID; }
  uint32_t PlayerID() const { return m_nPlayerID; }

  void SetName(std::string name) EXCLUDES(m_NameLock) {
    ScopedLock hold(m_NameLock);
    m_strName.swap(name);
  }
  std::string Name() const EXCLUDES(m_NameLock) {
    ScopedLock hold(m_NameLock);
    return m_strName;
  }

 private:
  std::atomic<uint32_t> m_nPlayerID{0};
  mutable Lock m_NameLock;
  std::string m_strName GUARDED_BY(m_NameLock);
};
