// Which pool, page and platform call a block comes from, and that blocks keep their bytes.
#include <array>
#include <cstddef>
#include <cstring>
#include <random>
#include <thread>

#include "tests/kit_mem/PlatformMemory.h"

using namespace page_list;

namespace {

TEST_F(AllocatorTest, SizesDecideAboutPoolPageAndPlatformCall) {
  const struct {
    size_t size, platformBytes, blocks;  // of one platform call
    int pool;
  } rows[] = {
      {0, 4096, 128, 0},      {1, 4096, 64, 0},       {24, 4096, 64, 0},      {32, 4096, 64, 0},
      {33, 8192, 64, 0},      {992, 65536, 64, 0},    {993, 131072, 64, 0},   {2016, 131072, 64, 0},
      {2017, 262144, 64, 1},  {4064, 262144, 64, 1},  {4065, 262144, 32, 1},  {8161, 524288, 32, 1},
      {16352, 524288, 32, 1}, {16353, 524288, 16, 1}, {32728, 524288, 16, 1}, {32729, 32768, 1, 2},
      {32736, 32768, 1, 2},   {32737, 65536, 1, 2},   {102400, 131072, 1, 2}, {5000000, 5013504, 1, 2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.size);
    Start();
    platform.TakeAsked();
    std::vector<void*> blocks{New(row.size)};
    const std::vector<size_t> first = row.pool == 2
                                          ? std::vector<size_t>{4096, row.platformBytes, 131072}
                                          : std::vector<size_t>{4096, 32768, row.platformBytes, 131072};
    EXPECT_EQ(platform.TakeAsked(), first) << "instance, descriptors, memory, records";
    const size_t tables = Statistics().library.ullReserved - row.platformBytes;
    while (blocks.size() < row.blocks)
      blocks.push_back(New(row.size));
    EXPECT_TRUE(platform.TakeAsked().empty());
    blocks.push_back(New(row.size));
    EXPECT_EQ(platform.TakeAsked(), std::vector{row.platformBytes});
    for (size_t i = 0; i < blocks.size(); ++i) {
      EXPECT_EQ(reinterpret_cast<uintptr_t>(blocks[i]) % alignof(std::max_align_t), 0u);
      std::memset(blocks[i], static_cast<int>(i), row.size);
    }
    const mck_statistics used = Statistics();
    EXPECT_EQ(used.pools[row.pool].ullBlocks, blocks.size());
    EXPECT_EQ(used.pools[row.pool].ullUsed, blocks.size() * row.size);
    EXPECT_EQ(used.pools[row.pool].ullReserved, 2 * row.platformBytes);
    EXPECT_EQ(used.families[1].ullReserved, row.platformBytes / row.blocks * blocks.size());
    for (size_t i = 0; i < blocks.size(); ++i) {
      const std::string expected(row.size, static_cast<char>(i));
      EXPECT_EQ(std::memcmp(blocks[i], expected.data(), row.size), 0);
      EXPECT_EQ(Delete(blocks[i]), "");
      const bool firstPageGone = i + 1 >= row.blocks;
      EXPECT_EQ(Statistics().library.ullReserved - tables, row.platformBytes * (i + 1 == blocks.size() ? 0
                                                                                : firstPageGone        ? 1
                                                                                                       : 2));
    }
  }
  allocator.reset();
}

TEST_F(AllocatorTest, RandomUseKeepsEveryByteAndReturnsEverything) {
  struct Block {
    std::vector<uint8_t> bytes;
    CallKind releasing;
  };
  std::map<void*, Block> live;
  std::mt19937 random(7);
  uint64_t used = 0;
  const auto check = [&](std::map<void*, Block>::iterator block) {
    used -= block->second.bytes.size();
    ASSERT_EQ(std::memcmp(block->first, block->second.bytes.data(), block->second.bytes.size()), 0);
  };
  const std::pair<CallKind, CallKind> kinds[] = {
      {kMalloc, kFree}, {kOwnNew, kOwnDelete}, {kOwnNewArray, kOwnDelete}, {kGlobalNew, kGlobalDeleteArray}};
  testing::internal::CaptureStdout();
  for (int turn = 0; turn < 60'000; ++turn) {
    const auto [allocating, releasing] = kinds[random() % 4];
    const size_t size = (1u << random() % 17) + random() % 100;
    const auto victim =
        live.empty() ? live.end() : std::next(live.begin(), random() % std::min<size_t>(20, live.size()));
    const bool grows = random() % 100 < (turn < 40'000 ? 52u : 30u);
    if (grows) {
      void* const block = New(size, allocating);
      ASSERT_TRUE(
          live.try_emplace(block, Block{std::vector<uint8_t>(size, random() & 0xFF), releasing}).second);
      std::memcpy(block, live[block].bytes.data(), size);
      used += size;
    } else if (victim != live.end() && victim->second.releasing == kFree && random() % 2 == 0) {
      check(victim);
      void* const moved = allocator->Reallocate(victim->first, size, kRealloc);
      victim->second.bytes.resize(std::min(size, victim->second.bytes.size()));
      ASSERT_EQ(std::memcmp(moved, victim->second.bytes.data(), victim->second.bytes.size()), 0);
      victim->second.bytes.resize(size, 3);
      std::memcpy(moved, victim->second.bytes.data(), size);
      live[moved] = std::move(victim->second);
      live.erase(victim);
      used += size;
    } else if (victim != live.end()) {
      check(victim);
      allocator->Release(victim->first, victim->second.releasing);
      live.erase(victim);
    }
    if (turn % 1000 == 0) {
      ASSERT_EQ(Statistics().library.ullBlocks, live.size());
      ASSERT_EQ(Statistics().library.ullUsed, used);
    }
  }
  for (auto& [block, contents] : live)
    allocator->Release(block, contents.releasing);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  const mck_statistics end = Statistics();
  EXPECT_EQ(end.library.ullBlocks + end.library.ullUsed + end.pools[0].ullReserved + end.pools[1].ullReserved,
            0u);
  EXPECT_EQ(end.ullPages[0] + end.ullPages[1] + end.ullFailedVerifications, 0u);
  allocator.reset();
}

TEST_F(AllocatorTest, ThreadsShareIt) {
  constexpr int kThreads = 8;
  std::vector<std::thread> threads;
  std::array<std::atomic<uint8_t*>, 64> passed{};
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      std::mt19937 random(static_cast<unsigned>(t));
      for (int i = 0; i < 5000; ++i) {
        const size_t size = 1 + random() % (i % 100 == 0 ? 50'000 : 300);
        auto* block = static_cast<uint8_t*>(New(size));
        std::memset(block, t, size);
        block = passed[random() % passed.size()].exchange(block);  // released by another thread
        allocator->Release(block, kFree);
      }
    });
  for (std::thread& thread : threads)
    thread.join();
  for (auto& block : passed)
    EXPECT_EQ(Delete(block), "");
  EXPECT_EQ(Statistics().library.ullBlocks, 0u);
  EXPECT_EQ(Statistics().ullFailedVerifications, 0u);
  allocator.reset();
}

TEST(KitMem, EntryPointsBelongToTheirFamilies) {
  EXPECT_STREQ(mck_version(), "kit_mem v1.0.0.1");
  mck_statistics before, during, after;
  mck_get_statistics(&before);
  void* const blocks[] = {mck_malloc(10),   mck_calloc(3, 5),  mck_realloc(nullptr, 9), mck_new(1),
                          mck_new_array(2), mck_global_new(3), mck_global_new_array(4)};
  mck_get_statistics(&during);
  testing::internal::CaptureStdout();
  mck_print_statistics();
  const std::string report = testing::internal::GetCapturedStdout();
  EXPECT_NE(report.find("size=15, mck_malloc/mck_calloc/mck_realloc\n"), std::string::npos) << report;
  const uint64_t expected[5] = {0, 3, 2, 0, 2};
  for (int family = 0; family < 5; ++family)
    EXPECT_EQ(during.families[family].ullBlocks - before.families[family].ullBlocks, expected[family]);
  EXPECT_EQ(std::memcmp(blocks[1], std::vector<char>(15).data(), 15), 0);
  testing::internal::CaptureStdout();
  for (void* block : {blocks[0], blocks[1], blocks[2], static_cast<void*>(nullptr)})
    mck_free(block);
  mck_delete_array(blocks[3]);
  mck_delete(blocks[4]);
  mck_global_delete_array(blocks[5]);
  mck_global_delete(blocks[6]);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  mck_get_statistics(&after);
  EXPECT_EQ(after.library.ullBlocks, before.library.ullBlocks);
}

}  // namespace
