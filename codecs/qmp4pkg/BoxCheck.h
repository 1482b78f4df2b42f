// A look at the boxes of an MP4 file before libavformat parses it: libavformat believes what tables say of
// their lengths, so that a few damaged bytes could cost gigabytes of memory.
#pragma once

#include <cstdint>
#include <optional>

#include "codecs/qmp4pkg/InputFile.h"

struct BoxFacts {
  bool bFragmented = false;
  bool bSeveralDescriptions = false;  // some track changes its parameters on the way
  // Where parsing ends: the file's size, or the start of a last box that is not all there (media data
  // excepted: of that the first part can be played).
  int64_t nEnd = 0;
};

// Nothing when the file is no MP4, or a table claims more than a file of this size can hold.
std::optional<BoxFacts> CheckBoxes(const InputFile& file);
