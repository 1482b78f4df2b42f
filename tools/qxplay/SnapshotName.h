// How files with snapshots are called. Pure.
#pragma once

#include <chrono>
#include <string>

// A name for the picture of a source, from its last part: "yard-20260314-092653-589", local time. Holds
// neither what an address says of its user nor anything that a file name must not have.
std::string SnapshotName(const std::string& source, std::chrono::system_clock::time_point time);
