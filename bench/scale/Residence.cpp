#include "bench/scale/Residence.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

namespace {

constexpr size_t kKiB = 1024;
constexpr uint64_t kGuardBytes = 4096;

struct Mapping {
  uint64_t llStart = 0;
  uint64_t llEnd = 0;
  std::string permissions;
  std::string path;
};

bool ReadMapping(const std::string& line, Mapping& mapping) {
  char permissions[5];
  int pathAt = 0;
  if (std::sscanf(line.c_str(), "%" SCNx64 "-%" SCNx64 " %4s %*x %*x:%*x %*u %n", &mapping.llStart,
                  &mapping.llEnd, permissions, &pathAt) != 3)
    return false;
  mapping.permissions = permissions;
  mapping.path = line.substr(static_cast<size_t>(pathAt));
  return true;
}

// `file` is that of the mapping in front, whose zeroed data may follow it.
size_t* FieldOf(Residence& residence, const Mapping& mapping, const Mapping& before, std::string& file) {
  const bool follows = before.llEnd == mapping.llStart;
  if (mapping.path.starts_with("/")) {
    file = mapping.path;
  } else if (!follows || !mapping.path.empty()) {
    file.clear();
  }
  if (!file.empty()) return file.find("/libq") != std::string::npos ? &residence.library : &residence.others;
  const bool hasGuard =
      follows && before.permissions == "---p" && before.llEnd - before.llStart == kGuardBytes;
  return hasGuard ? &residence.stacks : &residence.heap;
}

}  // namespace

Residence ReadResidence() {
  Residence residence;
  Mapping before;
  Mapping current;
  std::string file;
  size_t* field = &residence.heap;
  std::ifstream maps("/proc/self/smaps");
  for (std::string line; std::getline(maps, line);) {
    Mapping next;
    size_t kib = 0;
    if (ReadMapping(line, next)) {
      before = current;
      current = next;
      field = FieldOf(residence, current, before, file);
    } else if (std::sscanf(line.c_str(), "Rss: %zu kB", &kib) == 1) {
      *field += kib * kKiB;
    }
  }
  return residence;
}
