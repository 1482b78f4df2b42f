// See Allocator.h.
#include "src/kit_mem/Allocator.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/Kernel.h"
#include "src/kit_mem/Poison.h"

namespace page_list {

struct Allocator::Instance {
  explicit Instance(const Limits& limits)
      : checker(static_cast<uint32_t>(std::rand()), limits.dwRecords),
        pageLists{PageListPool(limits.dwDescriptors), PageListPool(limits.dwDescriptors)} {}
  ~Instance() { large.Clear(checker); }

  // blocks: 1 or -1.
  void Count(uint32_t size, size_t total, uint32_t family, int64_t blocks) {
    Usage& usage = usages[PoolOf(total)][family];
    usage.ullReserved += static_cast<uint64_t>(blocks * static_cast<int64_t>(ReservedBytesOf(total)));
    usage.ullUsed += static_cast<uint64_t>(blocks * int64_t{size});
    usage.ullBlocks += static_cast<uint64_t>(blocks);
  }
  // Of a verified claim. The family of an untracked block is not kept anywhere.
  uint32_t FamilyOf(const Claim& claim) const {
    return claim.dwIdentifier == kUntracked ? kUnknownFamily : checker.RecordOf(claim.dwIdentifier).nFamily;
  }

  Checker checker;
  PageListPool pageLists[2];  // small, medium
  LargeBlockPool large;
  Usage usages[kPoolCount][kFamilyCount] = {};
  uint64_t ullRefused = 0;
  uint64_t ullFamilyMismatches = 0;
};

namespace {

constexpr size_t kInstanceBytes = 4096;

}  // namespace

// What a release has to say; printed without the lock.
struct Allocator::Report {
  enum class Text { kNone, kIdentifier, kAccess, kFamily };

  [[gnu::noinline]] void Print() const;

  Text text = Text::kNone;
  // Set when there is a text: most releases say nothing.
  const void* pUser;
  Claim claim;
  CheckerRecord record;  // all zeros for a block that has none
  uint32_t dwReleasingFamily;
};

void Allocator::Report::Print() const {
  char line[256];
  switch (text) {
    case Text::kNone:
      return;
    case Text::kIdentifier:
      std::snprintf(line, sizeof(line), "mck_mem: block %p free failed, checker id error, id=%d\n", pUser,
                    static_cast<int>(claim.dwIdentifier));
      break;
    case Text::kAccess:
      std::snprintf(
          line, sizeof(line),
          "mck_mem: block %p free failed, access failed, id=%d, key=%d, size=%d, s_ptr=%p, s_key=%d, "
          "s_size=%d, s_alloced=%d\n",
          pUser, static_cast<int>(claim.dwIdentifier), static_cast<int>(claim.dwKey),
          static_cast<int>(claim.dwSize), record.pUser, static_cast<int>(record.dwKey),
          static_cast<int>(record.dwSize), static_cast<int>(record.bLive));
      break;
    case Text::kFamily:
      std::snprintf(line, sizeof(line), "mck_mem: block %p alloc by %s but free by %s\n", pUser,
                    kAllocatingNames[record.nFamily], kReleasingNames[dwReleasingFamily]);
      break;
  }
  PlatformWriteStandardOutput(line);
}

Allocator::~Allocator() {
  Destroy();
}

void Allocator::ReleaseIfUnused() {
  mck_statistics statistics;
  GetStatistics(&statistics);
  if (statistics.library.ullBlocks == 0) Destroy();
}

void Allocator::Destroy() {
  Instance* const instance = m_pInstance.exchange(nullptr, std::memory_order_acq_rel);
  if (instance == nullptr) return;
  instance->~Instance();
  GlobalFree(instance);
}

inline Allocator::Instance* Allocator::Prepare() {
  Instance* const instance = m_pInstance.load(std::memory_order_acquire);
  return instance != nullptr ? instance : Create();
}

// Null when the platform has no memory for the instance: the next call tries again.
Allocator::Instance* Allocator::Create() {
  static_assert(sizeof(Instance) <= kInstanceBytes);
  const platform::MemoryLockGuard guard;
  Instance* instance = m_pInstance.load(std::memory_order_relaxed);
  if (instance != nullptr) return instance;
  void* const memory = GlobalAlloc(GMEM_FIXED, kInstanceBytes);
  if (memory == nullptr) return nullptr;
  instance = ::new (memory) Instance(m_Limits);
  m_pInstance.store(instance, std::memory_order_release);
  return instance;
}

// Here and in Release() the calls between this library's files would be a fifth of the time: they are built
// as one, and inlined.
[[gnu::flatten]] NO_SANITIZE_ADDRESS void* Allocator::Allocate(size_t size, CallKind kind) {
  if (size > kMaxSize) return nullptr;
  Instance* const instance = Prepare();
  if (instance == nullptr) return nullptr;
  const auto size32 = static_cast<uint32_t>(size);
  const size_t total = TotalOf(size);
  const PoolIndex pool = PoolOf(total);
  BlockHeader* header = nullptr;
  if (pool == kLargePool) {
    header = LargeBlockPool::Make(size32, total);
    if (header == nullptr) return nullptr;
  }
  {
    const platform::MemoryLockGuard guard;
    if (pool != kLargePool) {
      header = instance->pageLists[pool].Allocate(size32, total);
      if (header == nullptr) return nullptr;
    }
    const uint32_t family = kFamilyOfCall[kind];
    instance->checker.Register(header, family);
    if (pool == kLargePool) instance->large.Link(header, total, instance->checker);
    m_Returned.Forget(UserOf(header));
    instance->Count(size32, total, header->dwIdentifier == kUntracked ? kUnknownFamily : family, 1);
  }
  Unpoison(UserOf(header), size);
  return UserOf(header);
}

// Read without the lock, so that a pointer to nowhere faults without holding it.
NO_SANITIZE_ADDRESS Claim Allocator::ClaimOf(void* user, bool returned) const {
  Claim claim{};
  claim.dwIdentifier = kUntracked;
  claim.dwMarker = kFreeMarker;
  if (returned || reinterpret_cast<uintptr_t>(user) % kBlockAlignment != 0) return claim;
  const BlockHeader* const header = HeaderOf(user);
  return {.dwMarker = header->dwMarker,
          .dwSize = header->dwSize,
          .dwIdentifier = header->dwIdentifier,
          .dwKey = header->dwKey,
          .dwUser = header->dwUser,
          .dwPage = header->dwPage};
}

// Fills the report and counts when the block must not be touched.
Allocator::Verified Allocator::Verify(Instance& instance, void* user, const Claim& claim, Report& report) {
  const Checker& checker = instance.checker;
  const Checker::Verdict verdict = checker.Verify(user, claim);
  bool granted = verdict == Checker::Verdict::kTracked || verdict == Checker::Verdict::kHasNoRecord;
  // The checker does not compare these fields, but a release follows them.
  if (granted)
    granted = claim.dwMarker == kLiveMarker && claim.dwUser == LowHalf(user) && claim.dwSize <= kMaxSize;
  if (granted) {
    const size_t total = TotalOf(claim.dwSize);
    const PoolIndex pool = PoolOf(total);
    PageDescriptor* page = nullptr;
    if (pool == kLargePool) {
      granted = instance.large.Holds(HeaderOf(user), claim, checker);
    } else {
      page = instance.pageLists[pool].PageOf(HeaderOf(user), claim, total);
      granted = page != nullptr;
    }
    if (granted) return {.bGranted = true, .pPage = page};
  }
  ++instance.ullRefused;
  report.text =
      verdict == Checker::Verdict::kNoSuchIdentifier ? Report::Text::kIdentifier : Report::Text::kAccess;
  report.pUser = user;
  report.claim = claim;
  report.record =
      claim.dwIdentifier < checker.HighWaterMark() ? checker.RecordOf(claim.dwIdentifier) : CheckerRecord{};
  return {};
}

[[gnu::flatten]] void Allocator::Release(void* user, CallKind kind) {
  if (user == nullptr) return;
  Instance* const instance = Prepare();
  if (instance == nullptr) return;
  const bool returned = m_Returned.Contains(user);
  Claim claim = ClaimOf(user, returned);
  const size_t total = TotalOf(std::min<size_t>(claim.dwSize, kMaxSize));
  const PoolIndex pool = PoolOf(total);
  Verified verified;
  Report report;
  {
    const platform::MemoryLockGuard guard;
    if (returned) claim = m_Returned.ClaimOf(user);
    verified = Verify(*instance, user, claim, report);
    if (verified.bGranted) {
      const uint32_t family = instance->FamilyOf(claim);
      if (family != kFamilyOfCall[kind] && family != kUnknownFamily) {
        ++instance->ullFamilyMismatches;
        report.text = Report::Text::kFamily;
        report.pUser = user;
        report.record = instance->checker.RecordOf(claim.dwIdentifier);
        report.dwReleasingFamily = kFamilyOfCall[kind];
      }
      instance->Count(claim.dwSize, total, family, -1);
      if (pool == kLargePool) {
        instance->large.Unlink(HeaderOf(user), total, instance->checker);
        m_Returned.Note(HeaderOf(user));
      } else {
        instance->pageLists[pool].Release(*verified.pPage, claim.dwPage, HeaderOf(user), total, m_Returned);
      }
      instance->checker.Retire(claim);
    }
  }
  if (verified.bGranted && pool == kLargePool) LargeBlockPool::Return(HeaderOf(user), total);
  if (report.text != Report::Text::kNone) report.Print();
}

void* Allocator::Reallocate(void* user, size_t size, CallKind kind) {
  if (user == nullptr) return Allocate(size, kind);
  Instance* const instance = Prepare();
  if (instance == nullptr) return nullptr;
  // Before the new block is made: that may take the place of one that was released.
  const bool returned = m_Returned.Contains(user);
  Claim claim = ClaimOf(user, returned);
  bool granted = false;
  Report report;
  {
    const platform::MemoryLockGuard guard;
    if (returned) claim = m_Returned.ClaimOf(user);
    granted = Verify(*instance, user, claim, report).bGranted;
  }
  if (!granted) report.Print();
  void* const moved = granted ? Allocate(size, kind) : nullptr;
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, user, std::min<size_t>(claim.dwSize, size));
  Release(user, kind);
  return moved;
}

void Allocator::GetStatistics(mck_statistics* statistics) {
  *statistics = {};
  Instance* const instance = m_pInstance.load(std::memory_order_acquire);
  if (instance == nullptr) return;
  const auto add = [](mck_usage& sum, const Usage& usage) {
    sum.ullReserved += usage.ullReserved;
    sum.ullUsed += usage.ullUsed;
    sum.ullBlocks += usage.ullBlocks;
  };
  const platform::MemoryLockGuard guard;
  mck_usage& library = statistics->library;
  for (uint32_t pool = 0; pool < kPoolCount; ++pool)
    for (uint32_t family = 0; family < kFamilyCount; ++family)
      for (mck_usage* sum : {&library, &statistics->pools[pool], &statistics->families[family]})
        add(*sum, instance->usages[pool][family]);
  library.ullReserved = kInstanceBytes + instance->checker.ReservedBytes() + instance->large.Bytes();
  for (const uint32_t pool : {kSmallPool, kMediumPool}) {
    const PageListPool& pages = instance->pageLists[pool];
    statistics->pools[pool].ullReserved = pages.PageBytes();
    statistics->ullPages[pool] = pages.Pages();
    statistics->ullFailedVerifications += pages.DamagedLists();
    library.ullReserved += pages.PageBytes() + pages.TableBytes();
  }
  statistics->ullFailedVerifications += instance->ullRefused;
  statistics->ullFamilyMismatches = instance->ullFamilyMismatches;
}

size_t Allocator::GetLiveBlocks(CheckerRecord* records, size_t capacity) {
  Instance* const instance = m_pInstance.load(std::memory_order_acquire);
  if (instance == nullptr) return 0;
  const platform::MemoryLockGuard guard;
  size_t count = 0;
  for (uint32_t link = instance->checker.FirstLive(); link != 0 && count < capacity; ++count) {
    records[count] = instance->checker.RecordOf(link - 1);
    link = records[count].dwNext;
  }
  return count;
}

}  // namespace page_list
