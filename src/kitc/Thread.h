// Threads: started with 512 KiB of stack, stopped by agreement, always waited for.
#pragma once

#include "platform/Kernel.h"

struct kitc_thread {
  HANDLE hThread;
  unsigned nThreadId;
};

using kitc_thread_entry = void (*)(void* argument);

// Starts a thread on entry(argument). Null when memory or the system refuses; nothing is left behind then.
kitc_thread* kitc_thread_create(kitc_thread_entry entry, void* argument);
// Closes the handle and releases the record; neither waits for the thread nor stops it.
void kitc_thread_close(kitc_thread* thread);

// Empty, or holding one started thread. Used by one owner thread at a time.
class Thread {
 public:
  Thread() = default;
  ~Thread();  // waits for a thread that is still held
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;

  // Starts entry(argument) when empty; false when it could not be started.
  bool Run(kitc_thread_entry entry, void* argument);
  // Waits for the held thread to end, without a time limit; returns at once when empty.
  void Wait();
  // Forgets the held thread. The owner waits first.
  void Close();
  // The system's identifier of the held thread, 0 when empty.
  unsigned Id() const { return m_pThread != nullptr ? m_pThread->nThreadId : 0; }

 private:
  kitc_thread* m_pThread = nullptr;
};
