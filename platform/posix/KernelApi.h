// The subset of the Win32 kernel services that the library calls, declared for POSIX systems with the meaning
// that Windows gives them. Failures are reported through the return value and GetLastError(), which holds an
// errno value here.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#define WINAPI
#define __stdcall
#define __cdecl
#define CALLBACK

using BOOL = int;
using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using UINT = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using HRESULT = int32_t;
using LPSTR = char*;
using LPCSTR = const char*;
using LPVOID = void*;
using HANDLE = void*;
using HMODULE = void*;
using HLOCAL = void*;
using WPARAM = uintptr_t;
using LPARAM = intptr_t;

constexpr BOOL TRUE = 1;
constexpr BOOL FALSE = 0;
constexpr DWORD INFINITE = 0xFFFFFFFF;
constexpr DWORD WAIT_OBJECT_0 = 0;
constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
constexpr DWORD MAX_PATH = 260;
constexpr UINT GMEM_FIXED = 0;
constexpr DWORD FORMAT_MESSAGE_ALLOCATE_BUFFER = 0x100;
constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x1000;

// Re-entrant for the thread that holds it.
struct CRITICAL_SECTION {
  pthread_mutex_t mutex;
};
void InitializeCriticalSection(CRITICAL_SECTION* section);
void EnterCriticalSection(CRITICAL_SECTION* section);
void LeaveCriticalSection(CRITICAL_SECTION* section);
void DeleteCriticalSection(CRITICAL_SECTION* section);

struct CONDITION_VARIABLE {
  std::atomic<uint32_t> nWakes;  // what sleepers wait on: it counts, and wraps
  std::atomic<uint32_t> nSleepers;
};
void InitializeConditionVariable(CONDITION_VARIABLE* condition);
// Leaves the section, which the caller has entered once, rests until the condition is woken or the time is
// over, and enters it again. FALSE with ETIMEDOUT when the time was over. May wake for no reason.
BOOL SleepConditionVariableCS(CONDITION_VARIABLE* condition, CRITICAL_SECTION* section, DWORD timeoutMs);
// Ends the rest of one thread, when one rests.
void WakeConditionVariable(CONDITION_VARIABLE* condition);

// Starts a thread with `stackBytes` of stack. Returns its handle, or 0 with errno set. Flags and security are
// ignored. The thread takes none of the signals that are sent to the process: those are the host's.
uintptr_t _beginthreadex(void* security, unsigned stackBytes, unsigned(__stdcall* start)(void*),
                         void* argument, unsigned flags, unsigned* threadId);
// Waits for a thread handle. Only INFINITE is supported as time-out; a second wait on the same handle returns
// at once. WAIT_FAILED for a null handle and for a thread that waits for itself.
DWORD WaitForSingleObject(HANDLE thread, DWORD timeoutMs);
// Releases a thread or file handle; a thread that nobody waited for runs on detached. FALSE for a null handle
// and for INVALID_HANDLE_VALUE.
BOOL CloseHandle(HANDLE object);
DWORD GetCurrentThreadId();
void Sleep(DWORD milliseconds);

struct LARGE_INTEGER {
  int64_t QuadPart;
};
// 10 MHz counter on CLOCK_MONOTONIC.
BOOL QueryPerformanceCounter(LARGE_INTEGER* count);
BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);
// Milliseconds since boot, wrapping at 2^32.
DWORD timeGetTime();
DWORD GetTickCount();  // the same here

struct SYSTEMTIME {
  WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};
void GetLocalTime(SYSTEMTIME* now);

// The path of the running executable (module must be null); the result is cut and zero-terminated when it
// does not fit.
DWORD GetModuleFileNameA(HMODULE module, char* path, DWORD capacity);
BOOL CreateDirectoryA(const char* path, void* security);
constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
// INVALID_FILE_ATTRIBUTES when nothing is there.
DWORD GetFileAttributesA(const char* path);

#define INVALID_HANDLE_VALUE reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1))
constexpr DWORD GENERIC_READ = 0x80000000;
constexpr DWORD FILE_SHARE_READ = 1;
constexpr DWORD FILE_SHARE_WRITE = 2;
constexpr DWORD OPEN_EXISTING = 3;
constexpr DWORD FILE_BEGIN = 0;
constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;
// Opens a regular file (or block device) that exists, for reading, which is the only way here; sharing,
// attributes and security are ignored. INVALID_HANDLE_VALUE when it cannot be opened.
HANDLE CreateFileA(const char* path, DWORD access, DWORD share, void* security, DWORD disposition,
                   DWORD attributes, HANDLE templateFile);
// Reads at most `bytes` from the file's position on; fewer, also none at the end of the file, is a success.
// `overlapped` must be null.
BOOL ReadFile(HANDLE file, void* buffer, DWORD bytes, DWORD* bytesRead, void* overlapped);
// Moves the file's position. Only FILE_BEGIN: the distance is 64 bits when `high` (its upper half; receives
// that of the new position) is given, else `low` alone, not negative. Returns the new position's lower half;
// on failure INVALID_SET_FILE_POINTER, which is a position too: SetLastError(0) before the call tells them
// apart.
DWORD SetFilePointer(HANDLE file, LONG low, LONG* high, DWORD method);
// Text for a debugger: dropped, there is no such channel here; tests receive it through platform::KernelSeam.
void OutputDebugStringA(const char* text);

using FARPROC = void (*)();
// Loads the shared library that stands for a Windows one: for "Name.dll" libname.so, sought beside this
// library first. Null when there is none.
HMODULE LoadLibraryA(const char* name);
// Null when the library has no such function.
FARPROC GetProcAddress(HMODULE module, const char* name);
BOOL FreeLibrary(HMODULE module);

HANDLE GlobalAlloc(UINT flags, size_t bytes);
HANDLE GlobalFree(HANDLE memory);
HLOCAL LocalFree(HLOCAL memory);

DWORD GetLastError();
void SetLastError(DWORD code);
// With FORMAT_MESSAGE_ALLOCATE_BUFFER, which is the only way here, `buffer` is really a char** that receives
// memory for LocalFree. The text has no line end. Returns its length, 0 (and a null pointer) for a code
// without text.
DWORD FormatMessageA(DWORD flags, const void* source, DWORD messageId, DWORD languageId, char* buffer,
                     DWORD size, void* arguments);
