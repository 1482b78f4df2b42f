#include "platform/CrashGuard.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/Kernel.h"
#include "tests/support/TempDir.h"

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
  const TempDir temp;
  const std::string name = temp / "short";
  std::ofstream(name) << "";
  std::FILE* file = std::fopen(name.c_str(), "r");
  auto* mapped = static_cast<volatile char*>(mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fileno(file), 0));
  std::fclose(file);
  bool read = false;
  EXPECT_FALSE(RunGuarded([&] { read = *mapped == 0 || true; }));
  EXPECT_FALSE(read);
  munmap(const_cast<char*>(mapped), 4096);
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

TEST(CrashGuard, LetsASoundCallPass) {
  int runs = 0;
  EXPECT_TRUE(RunGuarded([&] { ++runs; }));
  EXPECT_EQ(runs, 1);
}

TEST(CrashGuard, EndsEveryKindOfCrashWithFalse) {
  for (int turn = 0; turn < 3; ++turn) {
    EXPECT_FALSE(RunGuarded(AccessViolation));
    EXPECT_FALSE(RunGuarded(JumpToNull));
    EXPECT_FALSE(RunGuarded(DivideByZero));
    EXPECT_FALSE(RunGuarded([] { __builtin_trap(); }));
    EXPECT_FALSE(RunGuarded([] { raise(SIGFPE); })) << "as some run-time libraries answer a division by zero";
    ReadBehindTheEndOfAMappedFile();
    EXPECT_FALSE(RunGuarded(OverflowTheStack));
    EXPECT_FALSE(RunGuarded([] { throw std::runtime_error("out of the call"); }));
    EXPECT_FALSE(RunGuarded([] { throw 1; }));
    EXPECT_TRUE(RunGuarded([] {}));
  }
}

TEST(CrashGuard, EndsOnlyTheInnermostCall) {
  bool wentOn = false;
  EXPECT_TRUE(RunGuarded([&] {
    EXPECT_FALSE(RunGuarded(AccessViolation));
    EXPECT_TRUE(RunGuarded([] {}));
    wentOn = true;
  }));
  EXPECT_TRUE(wentOn);
  wentOn = false;
  EXPECT_FALSE(RunGuarded([&] {
    EXPECT_FALSE(RunGuarded([] { throw 1; }));
    AccessViolation();  // the outer guard is the innermost again
    wentOn = true;
  }));
  EXPECT_FALSE(wentOn);
}

TEST(CrashGuard, WorksOnManyThreadsAtOnce) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&wrong, t] {
      for (int turn = 0; turn < 100; ++turn) {
        int steps = 0;
        const bool crashes = (turn + t) % 3 != 0;
        const bool completed = RunGuarded([&] {
          ++steps;
          if (crashes) AccessViolation();
          ++steps;
        });
        if (completed == crashes || steps != (crashes ? 1 : 2)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(wrong, 0);
}

unsigned OverflowInSmallThread(void* caught) {
  for (int turn = 0; turn < 3; ++turn)
    *static_cast<int*>(caught) += RunGuarded(OverflowTheStack) ? 0 : 1;
  return 0;
}

TEST(CrashGuard, CatchesStackOverflowOnASmallStack) {
  int caught = 0;
  auto thread = reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, 512 * 1024, OverflowInSmallThread, &caught, 0, nullptr));
  ASSERT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  CloseHandle(thread);
  EXPECT_EQ(caught, 3);
}

TEST(CrashGuard, KeepsTheAlternateStackThatTheHostHasSet) {
  std::thread([] {
    std::vector<char> memory(256 * 1024);
    stack_t hosts{};
    hosts.ss_sp = memory.data();
    hosts.ss_size = memory.size();
    stack_t earlier{};
    sigaltstack(&hosts, &earlier);
    EXPECT_FALSE(RunGuarded(OverflowTheStack));
    stack_t now{};
    sigaltstack(nullptr, &now);
    EXPECT_EQ(now.ss_sp, hosts.ss_sp);
    sigaltstack(&earlier, nullptr);
  }).join();
}

size_t MappedBytes() {
  std::ifstream statm("/proc/self/statm");
  size_t pages = 0;
  statm >> pages;
  return pages * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

TEST(CrashGuard, LeavesNothingOfAThreadThatHasEnded) {
  const auto runThreads = [](int count) {
    for (int i = 0; i < count; ++i)
      std::thread([] { EXPECT_FALSE(RunGuarded(AccessViolation)); }).join();
  };
  runThreads(10);
  const size_t before = MappedBytes();
  runThreads(1000);
  EXPECT_LT(MappedBytes(), before + (16u << 20)) << "1000 alternate stacks would be more than 60 MiB";
}

TEST(CrashGuard, CatchesWhatTheThreadBlocks) {
  std::thread([] {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
    EXPECT_FALSE(RunGuarded(AccessViolation));
    sigset_t now;
    pthread_sigmask(SIG_SETMASK, nullptr, &now);
    EXPECT_EQ(sigismember(&now, SIGUSR1), 1) << "the host's other signals stay as they were";
  }).join();
}

// Faults outside a guard. Each case runs in a process of its own, where no guard has been used yet.
class CrashGuardDeathTest : public testing::Test {
 protected:
  CrashGuardDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  static void InstallHandler(void (*handler)(int, siginfo_t*, void*), int flags) {
    struct sigaction action {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | flags;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGUSR1);
    sigaction(SIGSEGV, &action, nullptr);
  }

  static void UseAGuard() {
    if (RunGuarded(AccessViolation) || !RunGuarded([] {})) std::_Exit(99);
  }
};

TEST_F(CrashGuardDeathTest, CatchesAgainWhatALaterHandlerOfTheHostPassesOn) {
  static struct sigaction guards;
  EXPECT_EXIT(
      {
        UseAGuard();
        sigaction(SIGSEGV, nullptr, &guards);
        // Blocks the signal while it runs, as handlers do by default, and never returns.
        InstallHandler(
            [](int signal, siginfo_t* info, void* context) { guards.sa_sigaction(signal, info, context); },
            0);
        for (int turn = 0; turn < 3; ++turn)
          UseAGuard();
        sigset_t now;
        pthread_sigmask(SIG_SETMASK, nullptr, &now);
        std::_Exit(sigismember(&now, SIGUSR1) == 0 ? 7 : 8);
      },
      testing::ExitedWithCode(7), "");
}

void ReportFaultAndExit(int, siginfo_t* info, void*) {
  sigset_t now;
  pthread_sigmask(SIG_SETMASK, nullptr, &now);
  const bool blockedAsAsked = sigismember(&now, SIGUSR1) == 1 && sigismember(&now, SIGSEGV) == 1;
  std::_Exit(info->si_addr == ForbiddenAddress() && blockedAsAsked ? 7 : 8);
}

TEST_F(CrashGuardDeathTest, EarlierHandlerServesFaultsOutsideAGuard) {
  EXPECT_EXIT(
      {
        InstallHandler(ReportFaultAndExit, 0);
        UseAGuard();
        AccessViolation();
      },
      testing::ExitedWithCode(7), "");
}

TEST_F(CrashGuardDeathTest, EarlierHandlerMayRepairAndGoOn) {
  EXPECT_EXIT(
      {
        InstallHandler(
            [](int, siginfo_t* info, void*) { mprotect(info->si_addr, 1, PROT_READ | PROT_WRITE); },
            SA_NODEFER);
        UseAGuard();
        *ForbiddenAddress() = 7;
        std::_Exit(*ForbiddenAddress());
      },
      testing::ExitedWithCode(7), "");
}

TEST_F(CrashGuardDeathTest, OneShotHandlerServesOnce) {
  EXPECT_DEATH(
      {
        InstallHandler([](int, siginfo_t*, void*) { std::fputs("once;", stderr); }, SA_RESETHAND);
        UseAGuard();
        AccessViolation();  // comes again after the handler, then ends the process
      },
      "^once;");
}

TEST_F(CrashGuardDeathTest, SentSignalsAreTheHosts) {
  EXPECT_EXIT(
      {
        InstallHandler([](int, siginfo_t*, void*) { std::_Exit(7); }, 0);
        UseAGuard();
        RunGuarded([] {
          kill(getpid(), SIGSEGV);
          for (;;)  // until it is delivered
            sleep(1);
        });
      },
      testing::ExitedWithCode(7), "");
  EXPECT_EXIT(
      {
        std::signal(SIGSEGV, SIG_IGN);
        UseAGuard();
        kill(getpid(), SIGSEGV);
        std::_Exit(7);
      },
      testing::ExitedWithCode(7), "");
}

TEST_F(CrashGuardDeathTest, DefaultActionEndsTheProcessBySignal) {
  const auto useDefault = [] {  // a sanitizer would have a handler of its own
    std::signal(SIGSEGV, SIG_DFL);
    std::signal(SIGFPE, SIG_DFL);
    UseAGuard();
  };
  EXPECT_EXIT((useDefault(), AccessViolation()), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((useDefault(), OverflowTheStack()), testing::KilledBySignal(SIGSEGV), "");
  EXPECT_EXIT((useDefault(), kill(getpid(), SIGFPE), sleep(30)), testing::KilledBySignal(SIGFPE), "");
  EXPECT_EXIT((std::signal(SIGSEGV, SIG_IGN), UseAGuard(), AccessViolation()),
              testing::KilledBySignal(SIGSEGV), "");
}

TEST_F(CrashGuardDeathTest, AnAbortIsNotCaught) {
  EXPECT_EXIT((std::signal(SIGABRT, SIG_DFL), RunGuarded([] { std::abort(); }), std::_Exit(0)),
              testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
