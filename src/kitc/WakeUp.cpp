#include "src/kitc/WakeUp.h"

#include <utility>

WakeUp::WakeUp() {
  InitializeCriticalSection(&m_Section);
  InitializeConditionVariable(&m_Condition);
}

WakeUp::~WakeUp() {
  DeleteCriticalSection(&m_Section);
}

void WakeUp::Set() {
  EnterCriticalSection(&m_Section);
  const bool wasSet = std::exchange(m_bSet, true);
  LeaveCriticalSection(&m_Section);
  // Outside: the other thread would wake only to wait for the section.
  if (!wasSet) WakeConditionVariable(&m_Condition);
}

void WakeUp::Wait(DWORD milliseconds) {
  EnterCriticalSection(&m_Section);
  if (!m_bSet) SleepConditionVariableCS(&m_Condition, &m_Section, milliseconds);
  m_bSet = false;
  LeaveCriticalSection(&m_Section);
}
