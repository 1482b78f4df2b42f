// Wrong releases, damaged blocks, and memory that runs out: each is told, and nothing is lost or corrupted.
#include <malloc.h>
#include <unistd.h>

#include <cinttypes>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <set>

#include "platform/posix/MemoryReserve.h"
#include "src/kit_mem/Poison.h"
#include "tests/kit_mem/PlatformMemory.h"

using namespace page_list;

namespace {

std::string Text(const char* format, ...) __attribute__((format(printf, 1, 2)));
std::string Text(const char* format, ...) {
  char text[300];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  return text;
}

NO_SANITIZE_ADDRESS uint32_t Field(void* block, int field) {
  return static_cast<volatile uint32_t*>(block)[field - 8];
}
NO_SANITIZE_ADDRESS void SetField(void* block, int field, uint32_t value) {
  static_cast<volatile uint32_t*>(block)[field - 8] = value;
}

class ReleasedTwice : public AllocatorTest, public testing::WithParamInterface<size_t> {};
INSTANTIATE_TEST_SUITE_P(Sizes, ReleasedTwice, testing::Values(0, 100, 20'000, 40'000, 3'000'000));

TEST_P(ReleasedTwice, IsReportedAlsoWhenTheMemoryIsGone) {
  const int size = static_cast<int>(GetParam());
  for (const bool neighbour : {true, false}) {  // with one alive the page stays
    Start();
    void* const other = neighbour ? New(GetParam()) : nullptr;
    void* const block = New(GetParam());
    const auto id = static_cast<int>(Field(block, 2)), key = static_cast<int>(Field(block, 3));
    EXPECT_EQ(Delete(block), "");
    EXPECT_EQ(Delete(block), Text("mck_mem: block %p free failed, access failed, id=%d, key=%d, size=%d, "
                                  "s_ptr=%p, s_key=%d, s_size=%d, s_alloced=0\n",
                                  block, id, key, size, block, key, size));
    // Its record is used again.
    void* const next = New(600'000);
    EXPECT_EQ(Delete(block), Text("mck_mem: block %p free failed, access failed, id=%d, key=%d, size=%d, "
                                  "s_ptr=%p, s_key=%d, s_size=600000, s_alloced=1\n",
                                  block, id, key, size, next, key + 1));
    EXPECT_EQ(allocator->Reallocate(block, 10, kRealloc), nullptr) << "(it says the same)";
    EXPECT_EQ(Statistics().ullFailedVerifications, 3u);
    EXPECT_EQ(Delete(next) + Delete(other), "");
    EXPECT_EQ(Statistics().library.ullBlocks, 0u);
    void* const again = New(GetParam());  // perhaps at the same address
    EXPECT_EQ(Delete(again), "");
  }
  allocator.reset();
}

TEST_F(AllocatorTest, AReleaseByAnotherFamilyIsReportedAndCarriedOut) {
  const std::pair<CallKind, const char*> allocating[] = {{kCalloc, "mck_malloc/mck_calloc/mck_realloc"},
                                                         {kOwnNew, "mck new/new[]"},
                                                         {kGlobalNewArray, "new/new[]"}};
  const std::pair<CallKind, const char*> releasing[] = {
      {kFree, "mck_free"}, {kOwnDelete, "mck delete/delete[]"}, {kGlobalDelete, "delete/delete[]"}};
  for (int a = 0; a < 3; ++a)
    for (int r = 0; r < 3; ++r) {
      void* const block = New(100, allocating[a].first);
      EXPECT_EQ(Delete(block, releasing[r].first),
                a == r ? ""
                       : Text("mck_mem: block %p alloc by %s but free by %s\n", block, allocating[a].second,
                              releasing[r].second));
    }
  EXPECT_EQ(Statistics().ullFamilyMismatches, 6u);
  EXPECT_EQ(Statistics().library.ullBlocks, 0u);
  allocator.reset();
}

TEST_F(AllocatorTest, AnOverwrittenHeaderIsReportedAndTheBlockStays) {
  for (const size_t size : {size_t{10}, size_t{5000}, size_t{50'000}}) {
    void* const blocks[] = {New(size), New(size), New(size)};
    void* const other = New(size == 10 ? 5000 : 10);
    for (void* block : blocks)
      for (int field = 0; field < 8; ++field)
        for (const uint32_t value : {0u, 1u, 2u, 3u, 4u, 0x100000u, 0x41414141u, ~0u, Field(block, field) ^ 8,
                                     Field(other, field)}) {
          SCOPED_TRACE(Text("size %zu, field %d, value %" PRIx32, size, field, value));
          const uint32_t right = Field(block, field);
          if (value == right) continue;
          SetField(block, field, value);
          const bool noSuchBlock = field == 2 && value > 3;
          EXPECT_EQ(Delete(block).starts_with(
                        Text(noSuchBlock ? "mck_mem: block %p free failed, checker id error, id="
                                         : "mck_mem: block %p free failed, access failed, id=",
                             block)),
                    true);
          SetField(block, field, right);
        }
    EXPECT_EQ(Statistics().library.ullBlocks, 4u);
    for (void* block : {blocks[1], blocks[2], blocks[0], other})
      EXPECT_EQ(Delete(block), "");
  }
  EXPECT_EQ(Statistics().library.ullBlocks, 0u);
  allocator.reset();
}

TEST_F(AllocatorTest, AForeignPointerIsReported) {
  alignas(16) uint32_t foreign[16] = {0xAB684721, 4, 1234567, 9};
  EXPECT_EQ(Delete(foreign + 8), Text("mck_mem: block %p free failed, checker id error, id=1234567\n",
                                      static_cast<void*>(foreign + 8)));
  foreign[2] = 0x100000;  // as if it had never been tracked
  foreign[3] = 0;
  EXPECT_EQ(Delete(foreign + 8), Text("mck_mem: block %p free failed, checker id error, id=1048576\n",
                                      static_cast<void*>(foreign + 8)));
  EXPECT_NE(Delete(reinterpret_cast<char*>(foreign) + 33), "") << "no block begins there";
  EXPECT_EQ(allocator->Reallocate(foreign + 8, 8, kRealloc), nullptr);
  EXPECT_EQ(Statistics().library.ullBlocks, 0u);
  allocator.reset();
}

// An overrun, or a write after the release, has gone over the header of a block that is free.
TEST_F(AllocatorTest, ADamagedFreeListHandsOutNoLiveBlock) {
  for (const auto& [field, value] :
       std::vector<std::pair<int, uint32_t>>{{0, 0x41414141}, {7, 1}, {7, 60}, {7, ~0u}}) {
    Start();
    std::set<void*> live;
    std::vector<void*> blocks;
    for (int i = 0; i < 10; ++i)
      live.insert(blocks.emplace_back(New(10)));
    for (const int i : {3, 5, 7}) {
      Delete(blocks[i]);
      live.erase(blocks[i]);
    }
    SetField(blocks[7], field, value);
    for (int i = 0; i < 200; ++i)
      ASSERT_TRUE(live.insert(New(10)).second);
    for (void* block : live)
      EXPECT_EQ(Delete(block), "");
    EXPECT_EQ(Statistics().ullFailedVerifications, 1u);
    EXPECT_EQ(Statistics().library.ullBlocks + Statistics().ullPages[0], 0u);
  }
  allocator.reset();
}

TEST_F(AllocatorTest, SizesThatNobodyHasAreRefused) {
  for (const size_t size :
       {SIZE_MAX, SIZE_MAX - 7, SIZE_MAX - 31, SIZE_MAX - 0x8000, size_t{0xFFFFFFFF}, mck_max_size + 1}) {
    EXPECT_EQ(New(size), nullptr);
    EXPECT_EQ(mck_realloc(nullptr, size), nullptr);
  }
  EXPECT_TRUE(platform.asked.empty());
  platform.FailAllocationsAfter(1);
  EXPECT_EQ(New(mck_max_size), nullptr);
  EXPECT_EQ(platform.TakeAsked(), (std::vector<size_t>{4096, 0xFFFF8000}));
  platform.AllowAllocations();
  EXPECT_EQ(mck_calloc(SIZE_MAX / 2, 3), nullptr);
  EXPECT_EQ(mck_calloc((SIZE_MAX >> 5) + 2, 32), nullptr);
  EXPECT_EQ(mck_calloc(2, SIZE_MAX), nullptr);
  allocator.reset();
}

TEST_F(AllocatorTest, APlatformThatRefusesTheNthCallLosesNothing) {
  const size_t sizes[] = {10, 100, 3000, 20'000, 50'000, 300'000};
  for (int64_t allowed = 0;; ++allowed) {
    SCOPED_TRACE(allowed);
    Start();
    platform.FailAllocationsAfter(allowed);
    std::map<void*, size_t> live;
    size_t refused = 0;
    for (int round = 0; round < 2; ++round)
      for (const size_t size : sizes) {
        if (void* const block = New(size)) {
          std::memset(block, 1, size);
          ASSERT_TRUE(live.emplace(block, size).second);
        } else {
          ++refused;
        }
      }
    platform.AllowAllocations();
    void* const next = New(77);
    EXPECT_NE(next, nullptr) << "the next attempt works";
    EXPECT_EQ(Delete(next), "");
    for (const auto& [block, size] : live)
      EXPECT_EQ(Delete(block), "") << size;
    EXPECT_EQ(Statistics().library.ullBlocks, 0u);
    EXPECT_EQ(Statistics().ullPages[0] + Statistics().ullPages[1] + Statistics().pools[2].ullReserved, 0u);
    if (refused == 0) break;
  }
  allocator.reset();
}

TEST_F(AllocatorTest, DescriptorsRunOut) {
  Start({.dwDescriptors = 3});
  std::vector<void*> blocks;
  while (void* const block = New(16'000))
    blocks.push_back(block);
  EXPECT_EQ(blocks.size(), 3u * 32);
  EXPECT_EQ(New(3000), nullptr) << "another class of the same pool";
  void* const small = New(10);
  EXPECT_NE(small, nullptr) << "a pool of its own";
  for (void* block : blocks)
    EXPECT_EQ(Delete(block), "");
  blocks.assign({New(3000), New(6000), New(16'000), small});
  for (void* block : blocks)
    EXPECT_EQ(Delete(block), block != nullptr ? "" : "null");
  allocator.reset();
}

// Block 1,048,577 has no record; nor has any block while the platform has no memory for records.
TEST_F(AllocatorTest, BlocksWithoutARecordAreServedAndReleased) {
  for (const bool refused : {false, true}) {
    Start();
    std::vector<void*> blocks;
    if (refused) platform.FailAllocationsAfter(3);  // instance, descriptors, page
    for (size_t i = 0; i < (refused ? 10 : Checker::kMaxRecords); ++i)
      blocks.push_back(New(1));
    for (const size_t size : {10, 10, 10, 50'000, 50'000})
      if (void* const block = New(size)) blocks.push_back(block);
    EXPECT_EQ(Statistics().families[0].ullBlocks, refused ? 13u : 5u);
    platform.AllowAllocations();
    void* const last = blocks.back();
    blocks.pop_back();
    EXPECT_EQ(Field(last, 2), 0x100000u);
    EXPECT_EQ(Field(last, 3), 0u);
    EXPECT_EQ(Delete(last, kGlobalDelete), "") << "nobody knows its family";
    EXPECT_NE(Delete(last).find("access failed, id=1048576, key=0"), std::string::npos);
    for (void* block : blocks)
      allocator->Release(block, kFree);
    EXPECT_EQ(Statistics().library.ullBlocks, 0u);
    EXPECT_EQ(Statistics().ullPages[0] + Statistics().pools[2].ullReserved, 0u);
    EXPECT_EQ(Statistics().ullFailedVerifications, 1u);
  }
  allocator.reset();
}

TEST(MemoryReserve, IsBoundedAndGivesWayToWhatIsUsedNow) {
  platform::MemoryReserve reserve;
  const auto keep = [&](size_t bytes) {
    void* given = reserve.Keep(std::malloc(bytes));
    int count = 0;
    for (; given != nullptr; ++count)
      std::free(std::exchange(given, *static_cast<void**>(given)));
    return count;
  };
  EXPECT_EQ(reserve.Take(4096), nullptr);
  for (const size_t bytes : {size_t{100}, size_t{4080}, size_t{2} << 20})
    EXPECT_EQ(keep(bytes), 1) << "of no use to anybody";
  void* const memory = std::malloc(131072);
  EXPECT_EQ(reserve.Keep(memory), nullptr);
  for (const size_t other : {0, 1, 4096, 131071, 126976, 135168})
    EXPECT_EQ(reserve.Take(other), nullptr) << other;
  EXPECT_EQ(reserve.Take(131072), memory);
  std::free(memory);
#ifndef __SANITIZE_ADDRESS__  // which must see every release, and the end of every block
  void* const allocated = platform::AllocateMemory(5000);
  EXPECT_GE(malloc_usable_size(allocated), 8192u) << "else it would be kept, and never taken";
  platform::FreeMemory(allocated);
#endif
  for (const size_t odd : {4097, 5000, 200'000, (1 << 20) - 1}) {
    void* const rounded = std::malloc(platform::MemoryReserve::RoundUp(odd));
    EXPECT_EQ(reserve.Keep(rounded), nullptr);
    EXPECT_EQ(reserve.Take(platform::MemoryReserve::RoundUp(odd)), rounded) << odd;
    std::free(rounded);
  }
  for (const size_t bytes : {size_t{1} << 20, size_t{1} << 15}) {
    for (int i = 0; i < 2000; ++i) {
      keep(bytes);
      ASSERT_LE(reserve.Bytes(), platform::MemoryReserve::kMaxBytes);
    }
    EXPECT_EQ(reserve.Bytes(), platform::MemoryReserve::kMaxBytes);
  }
  size_t large = 0;
  while (void* const old = reserve.Take(1 << 20)) {
    std::free(old);
    ++large;
  }
  EXPECT_LE(large, 1u) << "sizes that nobody asks for must not stay";
  for (void* given = reserve.Close(); given != nullptr;)
    std::free(std::exchange(given, *static_cast<void**>(given)));
  EXPECT_EQ(keep(4096), 1);
  EXPECT_EQ(reserve.Bytes(), 0u);
}

TEST(KitMemDeathTest, AForgottenBlockOrAWrongReleaseFailsTheProgramAtItsEnd) {
  const auto end = [](void (*leave)()) {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    leave();
    std::exit(0);
  };
  EXPECT_EXIT(end([] { mck_free(mck_malloc(77)); }), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(end([] { (void)mck_malloc(77); }), testing::KilledBySignal(SIGABRT),
              "live block .*, size=77, mck_malloc");
  EXPECT_EXIT(end([] { mck_delete(mck_malloc(7)); }), testing::KilledBySignal(SIGABRT),
              "0 failed verifications, 1 releases by another family");
}

#ifdef QX_POISONING
TEST(KitMemDeathTest, AddressSanitizerSeesOverrunsAndLateUse) {
  for (const size_t size : {size_t{13}, size_t{16'384}, size_t{102'400}}) {
    auto* const neighbour = static_cast<volatile char*>(mck_malloc(size));
    auto* const block = static_cast<volatile char*>(mck_malloc(size));
    for (const ptrdiff_t outside :
         {ptrdiff_t{-1}, ptrdiff_t{-32}, static_cast<ptrdiff_t>(size), static_cast<ptrdiff_t>(size + 8)})
      EXPECT_DEATH(block[outside] = 1, "AddressSanitizer") << outside;
    block[0] = 1;
    block[size - 1] = 1;
    mck_free(const_cast<char*>(block));
    EXPECT_DEATH(block[0] = 1, "AddressSanitizer");
    mck_free(const_cast<char*>(neighbour));
  }
}
#endif

}  // namespace
