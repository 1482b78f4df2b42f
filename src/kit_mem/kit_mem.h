// The library's allocator: every block is registered and checked when it is released.
//
// All functions may be called from any thread, before any constructor and after any destructor. None throws.
// A block must be released by the family of functions that allocated it; another family is reported on
// standard output and carried out. A release that cannot be verified (twice, a pointer that is no block, a
// damaged header) is reported on standard output and does nothing: the block stays allocated.
#pragma once

#include <cstddef>
#include <cstdint>

// "kit_mem v1.0.0.1".
const char* mck_version() noexcept;

// Memory for records and frame copies, uninitialised, aligned for every fundamental type; null when memory is
// exhausted and for sizes above mck_max_size. A size of 0 yields a pointer that may be released.
void* mck_malloc(size_t size) noexcept;
// count x size bytes of zeros; null also when the product does not fit.
void* mck_calloc(size_t count, size_t size) noexcept;
// A new block with the old one's bytes as far as they fit; the old one is released. Null leaves the old block
// as it was: memory is exhausted, or `block` cannot be verified, which is reported. A null `block` is none.
void* mck_realloc(void* block, size_t size) noexcept;
void mck_free(void* block) noexcept;  // null does nothing

// The largest size that is served, on every target: sizes are kept in 32 bits.
constexpr size_t mck_max_size = 0xFFFF7FE0;

// The allocator's own new and delete, and what the global operators call; as mck_malloc and mck_free, in
// families of their own.
void* mck_new(size_t size) noexcept;
void* mck_new_array(size_t size) noexcept;
void mck_delete(void* block) noexcept;
void mck_delete_array(void* block) noexcept;
void* mck_global_new(size_t size) noexcept;
void* mck_global_new_array(size_t size) noexcept;
void mck_global_delete(void* block) noexcept;
void mck_global_delete_array(void* block) noexcept;

// Gives back the allocator's own tables, too, when no block is live; otherwise does nothing. For the moment
// when the library is unloaded: no other thread is in any of these functions.
void mck_release_if_unused() noexcept;

struct mck_usage {
  uint64_t ullReserved;  // bytes; what counts is said below
  uint64_t ullUsed;      // bytes that callers asked for and still hold
  uint64_t ullBlocks;    // live blocks
};

struct mck_statistics {
  mck_usage library;  // reserved: all memory held from the platform, with the allocator's own tables
  mck_usage
      families[5];       // reserved: the blocks with header and rounding. By family of the allocating call:
                         // 0 blocks that were handed out unregistered, 1 mck_malloc, 2 mck new, 3 none, 4 new
  mck_usage pools[3];    // small, medium, large. Reserved: pages, or large blocks as the platform gave them
  uint64_t ullPages[2];  // of the small and the medium pool
  uint64_t ullFailedVerifications;  // releases that were refused, and blocks given up as damaged
  uint64_t ullFamilyMismatches;     // releases by another family, carried out
};

// What is held now. All zeros while nothing was ever allocated.
void mck_get_statistics(mck_statistics* statistics) noexcept;
// The same on standard output, with the newest live blocks one by one.
void mck_print_statistics() noexcept;
// For the end of a program or of the loaded library, when everything should have been released: prints the
// statistics and aborts the process when a block is still live, or when a release was refused or reported.
void mck_abort_unless_clean() noexcept;
