// The crash guard for POSIX systems: a signal handler that jumps out of the innermost guarded call of the
// thread that faulted.
#include "platform/CrashGuard.h"

#include <dlfcn.h>
#include <pthread.h>
#include <setjmp.h>  // NOLINT(modernize-deprecated-headers): sigsetjmp is no part of <csetjmp>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>

namespace {

// The faults that a thread's own instructions raise. SIGABRT is not among them: abort() is a decision, often
// of a check that has just found the heap or the stack corrupted, and the allocator may be locked; going on
// from there turns a clean end with a core dump into a hang.
constexpr std::array<int, 4> kFaults = {SIGSEGV, SIGBUS, SIGFPE, SIGILL};

// Room for the largest signal frame (AVX-512 and AMX state, about 12 KiB) and for a crash reporter of the
// host that we pass a fault on to.
constexpr size_t kAlternateStackBytes = 64 * 1024;

struct Guard {
  sigjmp_buf resume;
  Guard* outer;
};

// Read inside signal handlers, where the first touch of a lazily made thread-local would allocate: hence the
// static model.
#define SIGNAL_SAFE_TLS __attribute__((tls_model("initial-exec"))) thread_local
constinit SIGNAL_SAFE_TLS Guard* t_pInnermost = nullptr;
constinit SIGNAL_SAFE_TLS bool t_bPrepared = false;

struct EarlierAction {
  struct sigaction action;
  std::atomic<bool> bUsedUp;  // SA_RESETHAND: the action counts once
};
EarlierAction g_Earlier[kFaults.size()];
pthread_key_t g_AlternateStackKey;  // value: the mapping that a thread made for itself
bool g_bKeyMade = false;

EarlierAction& EarlierOf(int signal) {
  size_t i = 0;
  while (kFaults[i] != signal)
    ++i;
  return g_Earlier[i];
}

// The kernel raised it, or the thread itself (raise(), as some run-time libraries answer a division by zero).
// One that somebody sends to the process says nothing about the guarded call.
bool IsFaultOfThisThread(const siginfo_t& info) {
  return info.si_code > 0 || (info.si_code == SI_TKILL && info.si_pid == getpid());
}

// Lets the system end the process as it would have without us, so that the core dump shows the faulting
// instruction.
void DieOf(int signal, const siginfo_t& info) {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(signal, &action, nullptr);
  const bool comesAgain =
      info.si_code > 0;  // the faulting instruction is executed again when the handler returns
  if (!comesAgain) raise(signal);
}

void CallEarlierHandler(const struct sigaction& earlier, int signal, siginfo_t* info, void* context) {
  sigset_t blocked = earlier.sa_mask;
  if ((earlier.sa_flags & SA_NODEFER) == 0) sigaddset(&blocked, signal);
  sigset_t current;
  pthread_sigmask(SIG_BLOCK, &blocked, &current);
  if ((earlier.sa_flags & SA_SIGINFO) != 0) {
    earlier.sa_sigaction(signal, info, context);
  } else {
    earlier.sa_handler(signal);
  }
  pthread_sigmask(SIG_SETMASK, &current, nullptr);
}

// Does what the action that we replaced would have done.
void PassOn(int signal, siginfo_t* info, void* context) {
  EarlierAction& earlier = EarlierOf(signal);
  const struct sigaction& action = earlier.action;
  const bool hasHandler =
      (action.sa_flags & SA_SIGINFO) != 0 || (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
  if (hasHandler &&
      !((action.sa_flags & static_cast<int>(SA_RESETHAND)) != 0 && earlier.bUsedUp.exchange(true))) {
    CallEarlierHandler(action, signal, info, context);
    return;
  }
  // A fault cannot be ignored: the kernel would kill the process too.
  const bool ignored = !hasHandler && action.sa_handler == SIG_IGN && info->si_code <= 0;
  if (!ignored) DieOf(signal, *info);
}

// Gives the thread the signal mask that it had when it faulted. Ours blocks nothing, but a host's handler,
// installed later and passing faults on to us, may.
void RestoreSignalMask(const void* context) {
  constexpr size_t kKernelMaskBytes = (_NSIG - 1) / 8;  // what the kernel fills of the larger sigset_t
  sigset_t mask;
  sigemptyset(&mask);
  std::memcpy(&mask, &static_cast<const ucontext_t*>(context)->uc_sigmask, kKernelMaskBytes);
  pthread_sigmask(SIG_SETMASK, &mask, nullptr);
}

void OnFault(int signal, siginfo_t* info, void* context) {
  Guard* const guard = t_pInnermost;
  if (guard != nullptr && IsFaultOfThisThread(*info)) {
    t_pInnermost = guard->outer;
    RestoreSignalMask(context);
    siglongjmp(guard->resume, 1);
  }
  const int error = errno;
  PassOn(signal, info, context);
  errno = error;
}

void ReleaseAlternateStack(void* mapping) {
  stack_t current{};
  if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == mapping) {
    stack_t none{};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
  }
  munmap(mapping, kAlternateStackBytes);
  t_bPrepared = false;  // a guarded call in a later destructor of this thread makes another one
}

// The handlers, and the code of the thread-end destructor, must stay in memory when the host unloads the
// library.
void StayLoaded() {
  Dl_info self{};
  if (dladdr(reinterpret_cast<void*>(&OnFault), &self) == 0 || self.dli_fname == nullptr) return;
  void* handle = dlopen(self.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
  if (handle != nullptr) dlclose(handle);
}

bool InstallHandlers() {
  StayLoaded();
  g_bKeyMade = pthread_key_create(&g_AlternateStackKey, ReleaseAlternateStack) == 0;
  for (size_t i = 0; i < kFaults.size(); ++i) {
    // Read before ours is set: a fault that comes in between must find what to pass on to.
    sigaction(kFaults[i], nullptr, &g_Earlier[i].action);
    struct sigaction action {};
    action.sa_sigaction = OnFault;
    // Not deferred: what we pass a fault on to must be able to raise the signal again.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    sigemptyset(&action.sa_mask);
    sigaction(kFaults[i], &action, nullptr);
  }
  return true;
}

// A stack to handle a stack overflow on, unless the thread has one. Without it only overflows stay uncaught.
void ProvideAlternateStack() {
  stack_t current{};
  if (!g_bKeyMade || sigaltstack(nullptr, &current) != 0 || (current.ss_flags & SS_DISABLE) == 0) return;
  void* mapping =
      mmap(nullptr, kAlternateStackBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) return;
  stack_t own{};
  own.ss_sp = mapping;
  own.ss_size = kAlternateStackBytes;
  if (pthread_setspecific(g_AlternateStackKey, mapping) != 0 || sigaltstack(&own, nullptr) != 0) {
    pthread_setspecific(g_AlternateStackKey, nullptr);
    munmap(mapping, kAlternateStackBytes);
  }
}

// Once per thread, on its first guarded call.
void PrepareThread() {
  static const bool installed = InstallHandlers();
  (void)installed;
  ProvideAlternateStack();
  // The kernel kills a process whose thread faults while it blocks the signal.
  sigset_t faults;
  sigemptyset(&faults);
  for (const int signal : kFaults)
    sigaddset(&faults, signal);
  pthread_sigmask(SIG_UNBLOCK, &faults, nullptr);
  t_bPrepared = true;
}

}  // namespace

namespace platform {

bool RunGuarded(void (*call)(void*), void* context) noexcept {
  if (!t_bPrepared) [[unlikely]]
    PrepareThread();
  Guard guard;
  guard.outer = t_pInnermost;
  if (sigsetjmp(guard.resume, 0) != 0) return false;  // the handler has taken this guard off already
  t_pInnermost = &guard;
  bool completed = true;
  try {
    call(context);
  } catch (...) {
    completed = false;
  }
  t_pInnermost = guard.outer;
  return completed;
}

}  // namespace platform
