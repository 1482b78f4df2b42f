#include "platform/Kernel.h"

std::FILE* PlatformOpenFile(const char* path, const char* mode) {
  return std::fopen(path, mode);
}

void PlatformWriteStandardOutput(const char* text) {
  std::fputs(text, stdout);
  std::fflush(stdout);
}
