#include "src/kitc/Lock.h"

#include "src/kit_mem/kit_mem.h"

CRITICAL_SECTION* kitc_lock_create() {
  auto* section = static_cast<CRITICAL_SECTION*>(mck_malloc(sizeof(CRITICAL_SECTION)));
  if (section != nullptr) InitializeCriticalSection(section);
  return section;
}

void kitc_lock_enter(CRITICAL_SECTION* section) {
  EnterCriticalSection(section);
}

void kitc_lock_leave(CRITICAL_SECTION* section) {
  LeaveCriticalSection(section);
}

void kitc_lock_destroy(CRITICAL_SECTION* section) {
  DeleteCriticalSection(section);
  mck_free(section);
}

Lock::Lock() : m_pSection(kitc_lock_create()) {
  if (m_pSection != nullptr) return;
  InitializeCriticalSection(&m_Reserve);
  m_pSection = &m_Reserve;
}

Lock::Lock(Immortal) : m_pSection(&m_Reserve) {
  InitializeCriticalSection(&m_Reserve);
}

Lock::~Lock() {
  if (m_pSection == &m_Reserve) {
    DeleteCriticalSection(&m_Reserve);
  } else {
    kitc_lock_destroy(m_pSection);
  }
}

void Lock::Enter() NO_THREAD_SAFETY_ANALYSIS {
  kitc_lock_enter(m_pSection);
}

void Lock::Leave() NO_THREAD_SAFETY_ANALYSIS {
  kitc_lock_leave(m_pSection);
}
