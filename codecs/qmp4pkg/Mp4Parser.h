// Builds the frame table of an MP4 file with libavformat.
#pragma once

#include <optional>
#include <string>

#include "codecs/qmp4pkg/FrameTable.h"
#include "codecs/qmp4pkg/InputFile.h"

// Takes the first video and the first sound track that can be played; when none of a kind can, the first one
// is described with its own code, for the caller to refuse. Nothing, with the reason in `error`, for a file
// without video frames or when memory is exhausted.
//
// Video is timed by decoding time, sound by presentation time: a decoder that reorders hands out the picture
// of time t when it is given the frame to be decoded at t, so that pacing by the one keeps the other in step.
// The file's first frame has time 0.
std::optional<FrameTable> ParseMp4(const InputFile& file, std::string& error);
