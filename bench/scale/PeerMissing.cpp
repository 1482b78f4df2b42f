#include <cstdio>

#include "bench/scale/Parts.h"

void RunPeer(const std::vector<std::string>&) {
  std::printf("  libmpv: not measured, it was not there when this was built (Debian: libmpv-dev)\n");
}
