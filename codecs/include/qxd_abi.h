/* What the codec libraries' C interfaces share: calling convention, export mark and pinned record layouts. */
#ifndef QXD_ABI_H
#define QXD_ABI_H

#include <stddef.h>
#include <stdint.h>

/* The caller cleans the stack. */
#ifndef QXD_CALL
#if defined(_MSC_VER) && defined(_M_IX86)
#define QXD_CALL __cdecl
#elif defined(__i386__)
#define QXD_CALL __attribute__((cdecl))
#else
#define QXD_CALL
#endif
#endif

/* A library that implements an interface defines this as its mark for exported symbols. */
#ifndef QXD_API
#define QXD_API
#endif

/* Fails to compile when `condition` is false; works in C99 and in C++. */
#define QXD_ASSERT(name, condition) typedef char qxd_assert_##name[(condition) ? 1 : -1]

/* Pins the offset of a member that only 32-bit values precede: the same everywhere. */
#define QXD_ASSERT_OFFSET(record, member, bytes) \
  QXD_ASSERT(offset_##record##_##member, offsetof(record, member) == (bytes))
/* Pins the offset of a member, and the size of a record, where pointers have 32 bits: that is the layout
 * which the libraries fixed. */
#if UINTPTR_MAX == 0xFFFFFFFFu
#define QXD_ASSERT_OFFSET32(record, member, bytes) \
  QXD_ASSERT(offset_##record##_##member, offsetof(record, member) == (bytes))
#define QXD_ASSERT_SIZE32(record, bytes) QXD_ASSERT(size_##record, sizeof(record) == (bytes))
#else
#define QXD_ASSERT_OFFSET32(record, member, bytes) QXD_ASSERT(offset_##record##_##member, 1)
#define QXD_ASSERT_SIZE32(record, bytes) QXD_ASSERT(size_##record, 1)
#endif

#endif
