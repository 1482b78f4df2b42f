#include "tests/support/TestSeam.h"

#include <utility>

std::vector<std::string> TestSeam::TakeText() {
  const std::lock_guard lock(m_TextMutex);
  return std::exchange(m_Text, {});
}

void* TestSeam::Allocate(size_t bytes) {
  return m_llAllocationsLeft.fetch_sub(1) > 0 ? KernelSeam::Allocate(bytes) : nullptr;
}

void TestSeam::DebugText(const char* text) {
  const std::lock_guard lock(m_TextMutex);
  m_Text.emplace_back(text);
}

void TestSeam::Install() {
  m_pEarlier = platform::SetKernelSeam(this);
  m_bInstalled = true;
}

void TestSeam::Remove() {
  if (std::exchange(m_bInstalled, false)) platform::SetKernelSeam(m_pEarlier);
}
