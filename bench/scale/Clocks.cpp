// A day in simulated time. The clock that this needs is put under the library's modules, which the shared
// library hides: a program of its own links them.
#include <filesystem>

#include "bench/scale/Cases.h"
#include "bench/scale/Process.h"

void RunClocks() {
  const auto folder = std::filesystem::path(ProgramPath()).parent_path();
  Require(RunProgram(folder / "scale_clocks", {}), "scale_clocks does not run");
}
