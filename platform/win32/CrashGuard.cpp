// The crash guard for 32-bit Windows: what `__try { call } __except (EXCEPTION_EXECUTE_HANDLER)` does,
// written out for a compiler that lacks it. A frame-based handler, not a vectored one: a library that handles
// an exception of its own inside the call must see it first.
#include "platform/CrashGuard.h"

#include <windows.h>

#include <malloc.h>

static_assert(sizeof(void*) == 4, "64-bit Windows keeps its handlers in tables, not on the stack");

namespace {

using Registration = EXCEPTION_REGISTRATION_RECORD;

// The system finds it through its first member, which is linked into the thread's list of handlers.
struct Guard {
  Registration registration;
  void* resume[5];  // as __builtin_setjmp wants it
  DWORD dwCode;     // of the exception that ended the call
};

Registration*& HandlerList() {
  NT_TIB* thread;
  __asm__("movl %%fs:0x18, %0"
          : "=r"(thread));  // NtCurrentTeb(), whose inline form trips the compiler's bounds check
  return thread->ExceptionList;
}

// Errors and warnings are crashes; informational codes, such as a debugger's messages, are not.
bool IsCrash(DWORD code) {
  return (code & 0x80000000u) != 0;
}

EXCEPTION_DISPOSITION __cdecl OnException(EXCEPTION_RECORD* exception, void* registration, CONTEXT*, void*) {
  const bool unwinding = (exception->ExceptionFlags & EXCEPTION_UNWIND) != 0;
  if (unwinding || !IsCrash(exception->ExceptionCode)) return ExceptionContinueSearch;
  // Kept in memory: RtlUnwind does not preserve registers.
  Guard* volatile guard = static_cast<Guard*>(registration);
  guard->dwCode = exception->ExceptionCode;
  // Lets the handlers inside the call clean up, and takes them off the list.
  RtlUnwind(guard, nullptr, exception, nullptr);
  __builtin_longjmp(guard->resume, 1);
}

// Not inlined: a function that is jumped back into must keep its frame.
__attribute__((noinline)) bool RunUnderHandler(Guard& guard, void (*call)(void*), void* context) {
  if (__builtin_setjmp(guard.resume) != 0) return false;
  bool completed = true;
  try {
    call(context);
  } catch (...) {
    completed = false;
  }
  return completed;
}

}  // namespace

namespace platform {

bool RunGuarded(void (*call)(void*), void* context) noexcept {
  Guard guard{};
  guard.registration.Next = HandlerList();
  guard.registration.Handler = reinterpret_cast<PEXCEPTION_ROUTINE>(OnException);
  HandlerList() = &guard.registration;
  const bool completed = RunUnderHandler(guard, call, context);
  HandlerList() = guard.registration.Next;
  // The page that the overflow used up guards the stack again, so that the next one is caught too.
  if (!completed && guard.dwCode == EXCEPTION_STACK_OVERFLOW) _resetstkoflw();
  return completed;
}

}  // namespace platform
