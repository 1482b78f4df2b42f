// What the setting ViewLock costs, and what it saves.
#pragma once

// One load in a process that was started with the setting.
void RunViewLockPart(int screens);
