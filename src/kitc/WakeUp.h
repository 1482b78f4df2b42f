// What a thread rests on until another one has something for it.
#pragma once

#include "platform/Kernel.h"

// One thread waits, any thread sets. Its section is a leaf: nothing is taken under it.
class WakeUp {
 public:
  WakeUp();
  ~WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  // Ends the rest in progress, or else the next one before it begins: whatever was written before this call
  // is seen after the rest.
  void Set();
  // Rests for at most that long, INFINITE until it is set. May return early.
  void Wait(DWORD milliseconds);

 private:
  // Inside the object and free of memory: a thread that cannot rest would spin.
  CRITICAL_SECTION m_Section;
  CONDITION_VARIABLE m_Condition;
  bool m_bSet = false;  // guarded by m_Section
};
