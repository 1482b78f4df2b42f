// std::mutex with the attributes that let Clang check who holds it.
#pragma once

#include <mutex>

#include "src/kitc/ThreadAnnotations.h"

class CAPABILITY("mutex") Mutex {
 public:
  void lock() ACQUIRE() { m_Mutex.lock(); }
  void unlock() RELEASE() { m_Mutex.unlock(); }

 private:
  std::mutex m_Mutex;
};

// Holds a mutex for its scope.
class SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : m_Mutex(mutex) { m_Mutex.lock(); }
  ~MutexLock() RELEASE() { m_Mutex.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& m_Mutex;
};
