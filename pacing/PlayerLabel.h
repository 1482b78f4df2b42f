// How log lines name a player: its identifier and the name that the host gave it.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "src/kitc/Lock.h"
#include "src/kitc/ThrowingAllocator.h"

// Read by the play threads while the host renames the player; m_NameLock is a leaf.
class PlayerLabel {
 public:
  void SetPlayerID(uint32_t nPlayerID) { m_nPlayerID = nPlayerID; }
  uint32_t PlayerID() const { return m_nPlayerID; }

  // A name as it was at some moment; stays valid however often the player is renamed.
  class Text {
   public:
    Text() = default;
    explicit Text(std::shared_ptr<const String> name) : m_pName(std::move(name)) {}
    const char* c_str() const noexcept { return m_pName != nullptr ? m_pName->c_str() : ""; }

   private:
    std::shared_ptr<const String> m_pName;
  };

  // Throws std::bad_alloc, the old name staying.
  void SetName(String name) EXCLUDES(m_NameLock) {
    std::shared_ptr<const String> shared = MakeShared<String>(std::move(name));
    ScopedLock hold(m_NameLock);
    m_pName.swap(shared);
  }
  void ClearName() noexcept EXCLUDES(m_NameLock) {
    ScopedLock hold(m_NameLock);
    m_pName.reset();
  }
  // Allocates nothing: log lines are written where running out of memory must not throw.
  Text Name() const noexcept EXCLUDES(m_NameLock) {
    ScopedLock hold(m_NameLock);
    return Text(m_pName);
  }

 private:
  std::atomic<uint32_t> m_nPlayerID{0};
  mutable Lock m_NameLock;
  std::shared_ptr<const String> m_pName GUARDED_BY(m_NameLock);  // null: the empty name
};
