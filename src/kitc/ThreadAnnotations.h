// Clang's thread-safety attributes under short names; nothing for other compilers.
#pragma once

#if defined(__clang__)
#define QX_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define QX_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) QX_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY QX_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) QX_THREAD_ATTRIBUTE(guarded_by(x))
#define PT_GUARDED_BY(x) QX_THREAD_ATTRIBUTE(pt_guarded_by(x))
#define REQUIRES(...) QX_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) QX_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) QX_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) QX_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ACQUIRED_BEFORE(...) QX_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) QX_THREAD_ATTRIBUTE(acquired_after(__VA_ARGS__))
#define NO_THREAD_SAFETY_ANALYSIS QX_THREAD_ATTRIBUTE(no_thread_safety_analysis)
