// Reads the dynamic symbols and dependencies of a shared library file of this machine's own kind.
#pragma once

#include <string>
#include <vector>

struct ElfFile {
  std::vector<std::string> exported;  // names defined and visible to others, sorted
  std::vector<std::string> needed;    // libraries that the loader brings in, in file order
  std::string error;                  // empty when the file could be read
};

ElfFile ReadElfFile(const std::string& path);
