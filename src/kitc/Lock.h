// Recursive locks, with the attributes that let Clang check who holds what.
#pragma once

#include "platform/Kernel.h"
#include "src/kitc/ThreadAnnotations.h"

// A critical section on the library's allocator. Create answers null when memory is exhausted.
CRITICAL_SECTION* kitc_lock_create();
void kitc_lock_enter(CRITICAL_SECTION* section);
void kitc_lock_leave(CRITICAL_SECTION* section);
void kitc_lock_destroy(CRITICAL_SECTION* section);

// A lock that an object owns by value. It can always be taken: when the section cannot be allocated, one
// inside the object is used.
class CAPABILITY("mutex") Lock {
 public:
  // For a lock that is never destroyed: no block of the allocator, which would count as forgotten.
  enum Immortal { kImmortal };

  Lock();
  explicit Lock(Immortal);
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

  void Enter() ACQUIRE();
  void Leave() RELEASE();

 private:
  CRITICAL_SECTION* m_pSection;
  CRITICAL_SECTION m_Reserve;
};

// Holds a lock for its scope, also when an exception passes.
class SCOPED_CAPABILITY ScopedLock {
 public:
  explicit ScopedLock(Lock& lock) ACQUIRE(lock) : m_Lock(lock) { m_Lock.Enter(); }
  ~ScopedLock() RELEASE() { m_Lock.Leave(); }
  ScopedLock(const ScopedLock&) = delete;
  ScopedLock& operator=(const ScopedLock&) = delete;

 private:
  Lock& m_Lock;
};
