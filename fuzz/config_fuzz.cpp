// The configuration file: any text is read, and what it says about the known keys is an integer.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "player/ConfigFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  ConfigFile config;
  config.Parse(std::string_view(reinterpret_cast<const char*>(data), size));
  for (const char* key : {"ViewLock", "FileLogLevel", "StdOutLogLevel", ""})
    config.GetInteger(key, 1);
  return 0;
}
