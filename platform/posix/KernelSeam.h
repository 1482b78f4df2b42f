// Where tests put their own clock, memory and debugger in place of the system's. Production code never
// touches this.
#pragma once

#include "platform/posix/KernelApi.h"

namespace platform {

// The operations that Kernel.h takes from outside. The base class is the real system; a test derives and
// overrides. All members are called from any thread, several at once.
class KernelSeam {
 public:
  virtual ~KernelSeam() = default;
  virtual uint32_t TimeMs();             // timeGetTime
  virtual int64_t PerformanceCounter();  // 10 MHz
  virtual void LocalTime(SYSTEMTIME* now);
  virtual void Sleep(uint32_t milliseconds);
  // As SleepConditionVariableCS and WakeConditionVariable.
  virtual bool SleepOnCondition(CONDITION_VARIABLE& condition, CRITICAL_SECTION& section,
                                uint32_t milliseconds);
  virtual void WakeCondition(CONDITION_VARIABLE& condition);
  virtual void* Allocate(size_t bytes);  // null when memory is exhausted
  virtual void Free(void* memory);       // what Allocate() or malloc() gave; null does nothing
  virtual bool StartThreads();           // false: _beginthreadex fails
  // read(): bytes read, 0 at the end of the file, -1 with errno set.
  virtual intptr_t ReadFile(int descriptor, void* buffer, size_t bytes);
  virtual void* LoadLibrary(const char* name);  // as LoadLibraryA, GetProcAddress and FreeLibrary
  virtual void (*FindFunction(void* module, const char* name))();
  virtual bool FreeLibrary(void* module);
  virtual void DebugText(const char* text);
};

// What is in place: a test's, or the real system.
KernelSeam& CurrentKernelSeam();

// Puts `seam` (borrowed; must outlive its use) in place, null for the real system. Returns what was there
// before.
KernelSeam* SetKernelSeam(KernelSeam* seam);

}  // namespace platform
