// A lock for the inside of the POSIX layer, which Clang checks; not recursive.
#pragma once

#include <mutex>

#include "src/kitc/ThreadAnnotations.h"

namespace platform {

class CAPABILITY("mutex") Mutex {
 public:
  void Lock() ACQUIRE() { m_Mutex.lock(); }
  void Unlock() RELEASE() { m_Mutex.unlock(); }

 private:
  std::mutex m_Mutex;
};

class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : m_Mutex(mutex) { m_Mutex.Lock(); }
  ~MutexLock() RELEASE() { m_Mutex.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& m_Mutex;
};

}  // namespace platform
