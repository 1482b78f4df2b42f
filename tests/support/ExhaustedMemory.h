// Takes all the room that the allocator has left for blocks of one size while the platform refuses more.
#pragma once

#include <cstddef>
#include <vector>

#include "src/kit_mem/kit_mem.h"
#include "tests/support/TestSeam.h"

// The seam refuses from construction on, and allows again at the end.
class ExhaustedMemory {
 public:
  ExhaustedMemory(TestSeam& seam, size_t blockBytes) : m_Seam(seam) {
    m_Seam.FailAllocationsAfter(0);
    while (void* const block = mck_malloc(blockBytes))
      m_Blocks.push_back(block);
  }
  ~ExhaustedMemory() {
    for (void* block : m_Blocks)
      mck_free(block);
    m_Seam.AllowAllocations();
  }
  ExhaustedMemory(const ExhaustedMemory&) = delete;
  ExhaustedMemory& operator=(const ExhaustedMemory&) = delete;

  // Makes room for one more block; false when nothing is held back.
  bool FreeOne() {
    if (m_Blocks.empty()) return false;
    mck_free(m_Blocks.back());
    m_Blocks.pop_back();
    return true;
  }

 private:
  TestSeam& m_Seam;
  std::vector<void*> m_Blocks;
};
