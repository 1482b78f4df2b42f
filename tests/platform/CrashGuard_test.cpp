// What a guard catches, and that everything else stays the host's.
#include "platform/CrashGuard.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/Kernel.h"

namespace {

using platform::RunGuarded;

// An address that must not be touched; unlike null, one that no sanitizer complains about before the hardware
// does.
volatile int* ForbiddenAddress() {
  static void* const page = mmap(nullptr, static_cast<size_t>(sysconf(_SC_PAGESIZE)), PROT_NONE,
                                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return static_cast<volatile int*>(page);
}

void AccessViolation() {
  (void)*ForbiddenAddress();
}

void JumpToNull() {
  void (*volatile nowhere)() = nullptr;
  __asm__ volatile("" : : "r"(nowhere) : "memory");
  nowhere();
}

void DivideByZero() {
#if defined(__x86_64__) || defined(__i386__)
  __asm__ volatile("xorl %%edx, %%edx; movl $1, %%eax; xorl %%ecx, %%ecx; divl %%ecx"
                   :
                   :
                   : "eax", "ecx", "edx");
#else
  raise(SIGFPE);
#endif
}

void ReadBehindTheEndOfAMappedFile() {
  std::FILE* const file = std::tmpfile();
  static const volatile char* const mapped =
      static_cast<char*>(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fileno(file), 0));
  std::fclose(file);
  (void)*mapped;
}

// Each turn needs the one below it, so that no compiler makes a loop of it.
__attribute__((noinline)) unsigned Recurse(unsigned turns) {
  volatile char frame[512];
  frame[turns % sizeof frame] = static_cast<char>(turns);
  if (turns == 0) return 0;
  return Recurse(turns - 1) + static_cast<unsigned>(frame[turns % sizeof frame]);
}

void OverflowTheStack() {
  volatile unsigned result = Recurse(UINT32_MAX);
  (void)result;
}

// In a thread with the library's stack, and with every signal blocked.
unsigned CrashInEveryWay(void*) {
  sigset_t all, now;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  void (*const crashes[])() = {AccessViolation,
                               JumpToNull,
                               DivideByZero,
                               [] { __builtin_trap(); },
                               [] { raise(SIGFPE); },  // as some run-time libraries answer a division by zero
                               ReadBehindTheEndOfAMappedFile,
                               OverflowTheStack,
                               [] { throw std::runtime_error("out of the call"); },
                               [] { throw 1; }};
  for (int turn = 0; turn < 5; ++turn) {
    for (const auto& crash : crashes) {
      int steps = 0;
      const bool completed = RunGuarded([&] {
        ++steps;
        crash();
        ++steps;
      });
      EXPECT_TRUE(!completed && steps == 1) << "crash " << &crash - crashes;
      EXPECT_TRUE(RunGuarded([&] { ++steps; }));
      EXPECT_EQ(steps, 2);
    }
  }
  pthread_sigmask(SIG_SETMASK, nullptr, &now);
  EXPECT_EQ(sigismember(&now, SIGUSR1), 1) << "the host's other signals stay as they were";
  return 0;
}

TEST(CrashGuard, EndsEveryKindOfCrashWithFalseOnManyThreadsAtOnce) {
  std::vector<HANDLE> threads;
  for (int i = 0; i < 8; ++i)
    threads.push_back(
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 512 * 1024, CrashInEveryWay, nullptr, 0, nullptr)));
  for (HANDLE thread : threads) {
    EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
    CloseHandle(thread);
  }
}

TEST(CrashGuard, EndsOnlyTheInnermostCall) {
  int steps = 0;
  EXPECT_FALSE(RunGuarded([&] {
    EXPECT_FALSE(RunGuarded(AccessViolation));
    EXPECT_FALSE(RunGuarded([] { throw 1; }));
    EXPECT_TRUE(RunGuarded([] {}));
    ++steps;
    AccessViolation();  // the outer guard is the innermost again
    ++steps;
  }));
  EXPECT_EQ(steps, 1);
}

TEST(CrashGuard, KeepsTheAlternateStackThatTheHostHasSet) {
  std::thread([] {
    std::vector<char> memory(256 * 1024);
    stack_t hosts{}, earlier{}, now{};
    hosts.ss_sp = memory.data();
    hosts.ss_size = memory.size();
    sigaltstack(&hosts, &earlier);
    EXPECT_FALSE(RunGuarded(OverflowTheStack));
    sigaltstack(nullptr, &now);
    EXPECT_EQ(now.ss_sp, hosts.ss_sp);
    sigaltstack(&earlier, nullptr);
  }).join();
}

TEST(CrashGuard, LeavesNothingOfAThreadThatHasEnded) {
  const auto pagesAfter = [](int threads) {
    for (int i = 0; i < threads; ++i)
      std::thread([] { EXPECT_FALSE(RunGuarded(AccessViolation)); }).join();
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages;
  };
  const size_t before = pagesAfter(10);
  EXPECT_LT(pagesAfter(1000), before + 4096) << "1000 alternate stacks would be more than 16000 pages";
}

void InstallHandler(void (*handler)(int, siginfo_t*, void*), int flags) {
  struct sigaction action {};
  action.sa_sigaction = handler;
  action.sa_flags = SA_SIGINFO | flags;
  sigaddset(&action.sa_mask, SIGUSR1);
  sigaction(SIGSEGV, &action, nullptr);
}

void UseAGuard() {
  if (RunGuarded(AccessViolation) || !RunGuarded([] {})) std::_Exit(99);
}

void Report(int, siginfo_t* info, void*) {
  sigset_t now;
  pthread_sigmask(SIG_SETMASK, nullptr, &now);
  const bool blockedAsAsked = sigismember(&now, SIGUSR1) == 1 && sigismember(&now, SIGSEGV) == 1;
  std::_Exit(info->si_addr == ForbiddenAddress() && blockedAsAsked ? 7 : 8);
}

// Faults outside a guard. Each case runs in a process of its own, where no guard has been used yet, and ends
// it with 7.
TEST(CrashGuardDeathTest, TheHostsHandlersServeWhatIsNotGuarded) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  static struct sigaction guards;
  void (*const cases[])() = {
      [] {  // an earlier handler
        InstallHandler(Report, 0);
        UseAGuard();
        AccessViolation();
      },
      [] {  // an earlier handler that repairs and goes on
        InstallHandler(
            [](int, siginfo_t* info, void*) { mprotect(info->si_addr, 1, PROT_READ | PROT_WRITE); },
            SA_NODEFER);
        UseAGuard();
        *ForbiddenAddress() = 7;
        std::_Exit(*ForbiddenAddress());
      },
      [] {  // a later one that passes faults on; it blocks the signal while it runs and never returns
        UseAGuard();
        sigaction(SIGSEGV, nullptr, &guards);
        InstallHandler(
            [](int signal, siginfo_t* info, void* context) { guards.sa_sigaction(signal, info, context); },
            0);
        for (int turn = 0; turn < 3; ++turn)
          UseAGuard();
        sigset_t now;
        pthread_sigmask(SIG_SETMASK, nullptr, &now);
        std::_Exit(sigismember(&now, SIGUSR1) == 0 ? 7 : 8);
      },
      [] {  // a signal that was sent is the host's also inside a guard
        InstallHandler([](int, siginfo_t*, void*) { std::_Exit(7); }, 0);
        UseAGuard();
        RunGuarded([] {
          kill(getpid(), SIGSEGV);
          for (;;)  // until it is delivered
            sleep(1);
        });
      },
      [] {  // one that is ignored stays so
        std::signal(SIGSEGV, SIG_IGN);
        UseAGuard();
        kill(getpid(), SIGSEGV);
        std::_Exit(7);
      },
  };
  for (const auto& test : cases)
    EXPECT_EXIT(test(), testing::ExitedWithCode(7), "") << "case " << &test - cases;
}

TEST(CrashGuardDeathTest, DefaultActionEndsTheProcessBySignal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto guarded = [](int signal, auto handler) {  // a sanitizer would have a handler of its own
    std::signal(signal, handler);
    UseAGuard();
  };
  EXPECT_EXIT((guarded(SIGSEGV, SIG_DFL), AccessViolation()), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((guarded(SIGSEGV, SIG_DFL), OverflowTheStack()), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((guarded(SIGSEGV, SIG_IGN), AccessViolation()), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((guarded(SIGFPE, SIG_DFL), kill(getpid(), SIGFPE), sleep(30)), testing::KilledBySignal(SIGFPE),
              "");
  EXPECT_EXIT((std::signal(SIGABRT, SIG_DFL), RunGuarded([] { std::abort(); }), std::_Exit(0)),
              testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
