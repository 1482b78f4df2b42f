// What of this process's memory is resident, and whose it is.
#pragma once

#include <cstddef>

// Bytes.
struct Residence {
  size_t library = 0;  // files of the player library and the codec libraries around it, with their data
  size_t others = 0;   // files of other libraries and of the program, with their data
  size_t stacks = 0;   // of threads but the first
  size_t heap = 0;     // everything else: what malloc() has from the system
  size_t Total() const { return library + others + stacks + heap; }
};

Residence ReadResidence();
