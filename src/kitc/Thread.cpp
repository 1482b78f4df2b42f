#include "src/kitc/Thread.h"

#include "src/kit_mem/kit_mem.h"

namespace {

constexpr unsigned kStackBytes = 512 * 1024;

struct StartRecord {
  kitc_thread_entry entry;
  void* argument;
};

// The first function of every thread. Returning ends the thread as the runtime's thread-exit routine does,
// with code 0.
unsigned __stdcall Trampoline(void* parameter) {
  const StartRecord start = *static_cast<StartRecord*>(parameter);
  mck_free(parameter);
  start.entry(start.argument);
  return 0;
}

}  // namespace

kitc_thread* kitc_thread_create(kitc_thread_entry entry, void* argument) {
  auto* thread = static_cast<kitc_thread*>(mck_malloc(sizeof(kitc_thread)));
  auto* start = static_cast<StartRecord*>(mck_malloc(sizeof(StartRecord)));
  uintptr_t handle = 0;
  if (thread != nullptr && start != nullptr) {
    *start = {entry, argument};
    handle = _beginthreadex(nullptr, kStackBytes, Trampoline, start, 0, &thread->nThreadId);
  }
  if (handle == 0) {
    mck_free(start);
    mck_free(thread);
    return nullptr;
  }
  thread->hThread = reinterpret_cast<HANDLE>(handle);
  return thread;
}

void kitc_thread_close(kitc_thread* thread) {
  CloseHandle(thread->hThread);
  mck_free(thread);
}

Thread::~Thread() {
  Wait();
  Close();
}

bool Thread::Run(kitc_thread_entry entry, void* argument) {
  if (m_pThread != nullptr) return false;
  m_pThread = kitc_thread_create(entry, argument);
  return m_pThread != nullptr;
}

void Thread::Wait() {
  if (m_pThread != nullptr) WaitForSingleObject(m_pThread->hThread, INFINITE);
}

void Thread::Close() {
  if (m_pThread == nullptr) return;
  kitc_thread_close(m_pThread);
  m_pThread = nullptr;
}
