// Critical sections and threads for POSIX systems, on recursive mutexes and joinable pthreads.
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <new>

#include "platform/Kernel.h"
#include "platform/posix/KernelObject.h"
#include "platform/posix/KernelSeam.h"

namespace {

// What a thread handle points at; the running thread never touches it.
struct ThreadHandle : platform::KernelObject {
  ~ThreadHandle() override {
    if (bStarted && !bJoined) pthread_detach(thread);
    pthread_mutex_destroy(&mutex);
  }

  pthread_t thread{};
  bool bStarted = false;
  pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;  // a second waiter waits here for the first one to join
  bool bJoined = false;                               // guarded by mutex
};

// Lies on the creator's stack until the new thread has taken its copy and told its identifier.
struct ThreadStart {
  unsigned (*start)(void*);
  void* argument;
  unsigned nThreadId;
  sem_t taken;
};

void* RunThread(void* parameter) {
  auto* shared = static_cast<ThreadStart*>(parameter);
  const auto start = shared->start;
  void* const argument = shared->argument;
  shared->nThreadId = GetCurrentThreadId();
  sem_post(&shared->taken);
  start(argument);
  return nullptr;
}

// Blocks, for its scope, every signal but those that a thread's own instructions raise and the profiler's. A
// thread that is created meanwhile inherits that: the library's threads must not run the host's handlers for
// signals that the host meant for its own.
class HostSignalsBlocked {
 public:
  HostSignalsBlocked() {
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS, SIGPROF})
      sigdelset(&blocked, own);
    pthread_sigmask(SIG_BLOCK, &blocked, &m_Earlier);
  }
  ~HostSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_Earlier, nullptr); }
  HostSignalsBlocked(const HostSignalsBlocked&) = delete;
  HostSignalsBlocked& operator=(const HostSignalsBlocked&) = delete;

 private:
  sigset_t m_Earlier;
};

int CreatePosixThread(pthread_t* thread, unsigned stackBytes, ThreadStart* start) {
  pthread_attr_t attributes;
  int error = pthread_attr_init(&attributes);
  if (error != 0) return error;
  const auto pageBytes = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t smallest = static_cast<size_t>(sysconf(_SC_THREAD_STACK_MIN));
  const size_t wanted = std::max<size_t>(stackBytes, smallest);
  error = pthread_attr_setstacksize(&attributes, (wanted + pageBytes - 1) / pageBytes * pageBytes);
  if (error == 0) {
    const HostSignalsBlocked blocked;
    error = pthread_create(thread, &attributes, RunThread, start);
  }
  pthread_attr_destroy(&attributes);
  return error;
}

}  // namespace

void InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&section->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void EnterCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_lock(&section->mutex);
}

void LeaveCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_unlock(&section->mutex);
}

void DeleteCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_destroy(&section->mutex);
}

void InitializeConditionVariable(CONDITION_VARIABLE* condition) {
  condition->nWakes = 0;
  condition->nSleepers = 0;
}

BOOL SleepConditionVariableCS(CONDITION_VARIABLE* condition, CRITICAL_SECTION* section, DWORD timeoutMs) {
  if (platform::CurrentKernelSeam().SleepOnCondition(*condition, *section, timeoutMs)) return TRUE;
  errno = ETIMEDOUT;
  return FALSE;
}

void WakeConditionVariable(CONDITION_VARIABLE* condition) {
  platform::CurrentKernelSeam().WakeCondition(*condition);
}

uintptr_t _beginthreadex(void*, unsigned stackBytes, unsigned (*start)(void*), void* argument, unsigned,
                         unsigned* threadId) {
  if (!platform::CurrentKernelSeam().StartThreads()) {
    errno = EAGAIN;
    return 0;
  }
  auto* handle = new (std::nothrow) ThreadHandle;
  if (handle == nullptr) {
    errno = ENOMEM;
    return 0;
  }
  ThreadStart shared{.start = start, .argument = argument, .nThreadId = 0, .taken = {}};
  sem_init(&shared.taken, 0, 0);
  const int error = CreatePosixThread(&handle->thread, stackBytes, &shared);
  if (error == 0) {
    handle->bStarted = true;
    while (sem_wait(&shared.taken) != 0 && errno == EINTR) {
    }
    if (threadId != nullptr) *threadId = shared.nThreadId;
  }
  sem_destroy(&shared.taken);
  if (error == 0) return reinterpret_cast<uintptr_t>(platform::ToHandle(handle));
  delete handle;
  errno = error;
  return 0;
}

DWORD WaitForSingleObject(HANDLE thread, DWORD timeoutMs) {
  auto* handle = dynamic_cast<ThreadHandle*>(platform::ToKernelObject(thread));
  if (handle == nullptr || timeoutMs != INFINITE) {
    errno = EINVAL;
    return WAIT_FAILED;
  }
  if (pthread_equal(handle->thread, pthread_self()) != 0) {
    errno = EDEADLK;
    return WAIT_FAILED;
  }
  pthread_mutex_lock(&handle->mutex);
  const int error = handle->bJoined ? 0 : pthread_join(handle->thread, nullptr);
  if (error == 0) handle->bJoined = true;
  pthread_mutex_unlock(&handle->mutex);
  if (error == 0) return WAIT_OBJECT_0;
  errno = error;
  return WAIT_FAILED;
}

BOOL CloseHandle(HANDLE object) {
  platform::KernelObject* const released = platform::ToKernelObject(object);
  if (released == nullptr) errno = EBADF;
  delete released;
  return released != nullptr ? TRUE : FALSE;
}

DWORD GetCurrentThreadId() {
  return static_cast<DWORD>(gettid());
}
