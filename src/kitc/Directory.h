// Where the host program lies, and making directories.
#pragma once

#include "src/kitc/ThrowingAllocator.h"

// The directory of the running executable, without a separator at its end; empty when it cannot be obtained.
String kitc_executable_directory();

// Creates a directory and its missing parents; `/` and `\` both separate. 0 when the last one was created, -1
// otherwise, also when it was there already, and for a path of more than 1023 characters.
int kitc_mkdir_recursive(const char* path);
