// What bench_scale can measure: one function a case, named in main.cpp's table and written in the source of
// the case's name. A case runs in a process of its own, where no other case has been: it starts the library,
// measures, prints, and releases what it opened. Programs and files that it needs and does not find end the
// process.
#pragma once

void RunIdle();
void RunSmall();
void RunMedium();
void RunLatency();
void RunLinear();
void RunViewLock();
void RunLogCost();
void RunMemory();
void RunClocks();
void RunCycles();
void RunStampede();
