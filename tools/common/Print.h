// printf into a string, for the tools' short lines.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

// At most 127 bytes; what is longer is cut.
[[gnu::format(printf, 1, 2)]] inline std::string Print(const char* format, ...) {
  char text[128];
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  return text;
}
