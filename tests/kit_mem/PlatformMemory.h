// The platform's memory with every call noted, and an allocator of its own for each test.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "src/kit_mem/Allocator.h"
#include "tests/support/TestSeam.h"

class PlatformMemory : public TestSeam {
 public:
  PlatformMemory() : TestSeam(kByDerived) { Install(); }
  ~PlatformMemory() override {
    Remove();
    EXPECT_TRUE(held.empty()) << "not returned to the platform";
  }
  void* Allocate(size_t bytes) override {
    void* const memory = TestSeam::Allocate(bytes);
    const std::lock_guard lock(mutex);
    asked.push_back(bytes);
    if (memory != nullptr) held[memory] = bytes;
    return memory;
  }
  void Free(void* memory) override {
    {
      const std::lock_guard lock(mutex);
      EXPECT_EQ(held.erase(memory), 1u);
    }
    TestSeam::Free(memory);
  }
  std::vector<size_t> TakeAsked() { return std::exchange(asked, {}); }

  std::mutex mutex;
  std::map<void*, size_t> held;
  std::vector<size_t> asked;
};

class AllocatorTest : public testing::Test {
 protected:
  void Start(page_list::Allocator::Limits limits = {}) {
    allocator.reset();
    allocator = std::make_unique<page_list::Allocator>(limits);
  }
  void* New(size_t size, page_list::CallKind kind = page_list::kMalloc) {
    return allocator->Allocate(size, kind);
  }
  // What the release says on standard output.
  std::string Delete(void* block, page_list::CallKind kind = page_list::kFree) {
    testing::internal::CaptureStdout();
    allocator->Release(block, kind);
    return testing::internal::GetCapturedStdout();
  }
  mck_statistics Statistics() {
    mck_statistics statistics;
    allocator->GetStatistics(&statistics);
    return statistics;
  }

  PlatformMemory platform;
  std::unique_ptr<page_list::Allocator> allocator = std::make_unique<page_list::Allocator>();
};
