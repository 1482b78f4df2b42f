#include "src/kitc/WakeUp.h"

WakeUp::WakeUp() {
  InitializeCriticalSection(&m_Section);
  InitializeConditionVariable(&m_Condition);
}

WakeUp::~WakeUp() {
  DeleteCriticalSection(&m_Section);
}

void WakeUp::Set() {
  EnterCriticalSection(&m_Section);
  m_bSet = true;
  LeaveCriticalSection(&m_Section);
  // Outside: the other thread would wake only to wait for the section. Also when it was set before: whoever
  // did that may not have come to this call yet.
  WakeConditionVariable(&m_Condition);
}

void WakeUp::Wait(DWORD milliseconds) {
  EnterCriticalSection(&m_Section);
  if (!m_bSet) SleepConditionVariableCS(&m_Condition, &m_Section, milliseconds);
  m_bSet = false;
  LeaveCriticalSection(&m_Section);
}
