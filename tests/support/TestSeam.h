// The real system with the debugger's text collected and with faults on demand.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "platform/posix/KernelSeam.h"

// In place from construction to destruction; what was there before comes back. Threads that use the kernel
// services must have ended by then. Derive from it to replace more: the derived class passes kByDerived,
// calls Install() at the end of its constructor and Remove() first in its destructor, so that other threads
// never meet a half-made object.
class TestSeam : public platform::KernelSeam {
 public:
  TestSeam() { Install(); }
  ~TestSeam() override { Remove(); }
  TestSeam(const TestSeam&) = delete;
  TestSeam& operator=(const TestSeam&) = delete;

  // The texts that went to the debugger since the last call, one element a call; log lines are among them.
  std::vector<std::string> TakeText();

  // Lets `count` more allocations succeed; every later one fails until AllowAllocations().
  void FailAllocationsAfter(int64_t count) { m_llAllocationsLeft = count; }
  void AllowAllocations() { m_llAllocationsLeft = INT64_MAX; }
  void FailThreads(bool fail) { m_bFailThreads = fail; }

  void* Allocate(size_t bytes) override;
  bool StartThreads() override { return !m_bFailThreads; }
  void DebugText(const char* text) override;

 protected:
  enum Installation { kByDerived };
  explicit TestSeam(Installation) {}
  void Install();
  void Remove();

 private:
  bool m_bInstalled = false;
  platform::KernelSeam* m_pEarlier = nullptr;

  std::atomic<int64_t> m_llAllocationsLeft{INT64_MAX};
  std::atomic<bool> m_bFailThreads{false};

  std::mutex m_TextMutex;
  std::vector<std::string> m_Text;  // guarded by m_TextMutex
};
