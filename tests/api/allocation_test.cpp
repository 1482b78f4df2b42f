// A host with a new and delete of its own beside the library's: no block passes from one side to the other,
// and what the library makes is not the host's.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <new>
#include <string>

#include "include/qxsdkp.h"
#include "tests/support/Recording.h"
#include "tests/support/TempDir.h"

namespace {

constexpr uint64_t kHostBlock = 0x486F7374426C6F63;
std::atomic<int> g_nNews{0};
std::atomic<int> g_nForeign{0};  // blocks given to this delete that this new did not make

// Every block stands behind 16 bytes that say whose it is.
void* MarkedBlock(size_t size) {
  ++g_nNews;
  auto* const block = static_cast<uint64_t*>(std::malloc(size + 16));
  if (block == nullptr) std::abort();
  block[0] = kHostBlock;
  return block + 2;
}

void ReleaseMarked(void* memory) {
  if (memory == nullptr) return;
  uint64_t* const block = static_cast<uint64_t*>(memory) - 2;
  if (block[0] != kHostBlock) {
    ++g_nForeign;
    return;
  }
  block[0] = 0;
  std::free(block);
}

}  // namespace

void* operator new(size_t size) {
  return MarkedBlock(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return MarkedBlock(size);
}
void operator delete(void* memory) noexcept {
  ReleaseMarked(memory);
}
void operator delete(void* memory, size_t) noexcept {
  ReleaseMarked(memory);
}

TEST(Allocation, HostAndLibraryKeepTheirBlocksApart) {
  setenv("QXSDKP_DISPLAY", "headless", 1);
  setenv("QXSDKP_SOUND", "null", 1);
  const TempDir dir;
  const std::string file = Recording(5).Add(1, "no picture").Add(0, "nor this").Save(dir / "a.sv5");
  const std::string name(300, 'n');
  ASSERT_EQ(QXSP_InitSDK(), 1);
  for (int round = 0; round < 3; ++round) {
    int before = g_nNews;
    const auto player = static_cast<uint32_t>(QXSP_CreatePlayer());
    QXSP_SetPlayerName(player, name.c_str());
    QXSP_OSD_ITEM item = {};
    item.pszText = name.c_str();
    EXPECT_EQ(QXSP_SetOSD(player, &item, 1), 1);
    EXPECT_EQ(g_nNews, before);  // the codec libraries, which share the host's, have not been asked yet
    EXPECT_EQ(QXSP_OpenFile(player, file.c_str()), 1);
    EXPECT_EQ(QXSP_Stop(player), 1);
    QXSP_MEDIA_FILE_INFO info;
    QXSP_MediaFileClose(QXSP_MediaFileOpen(file.c_str(), &info));
    EXPECT_EQ(QXSP_ReleasePlayer(player), 1);
  }
  QXSP_ReleaseSDK();
  EXPECT_EQ(g_nForeign, 0);
}

TEST(AllocationDeathTest, WhatAHostKeepsIsToldAtTheEnd) {
  const TempDir dir;
  const std::string file = Recording(5).Add(1, "no picture").Save(dir / "a.sv5");
  const auto host = [&file](bool closes) {
    setenv("QXSDKP_MEMORY", "check", 1);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    QXSP_MEDIA_FILE_INFO info;
    void* const handle = QXSP_MediaFileOpen(file.c_str(), &info);
    if (closes) QXSP_MediaFileClose(handle);
    std::exit(handle != nullptr ? 0 : 1);
  };
  EXPECT_EXIT(host(true), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(host(false), testing::KilledBySignal(SIGABRT), "mck_mem: live block .*, new/new");
}
