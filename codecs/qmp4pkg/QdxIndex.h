// The index file (.qdx) beside an MP4 file: the file's frame table, so that it need not be parsed again.
//
// Link the static library `qdx`.
//
// Layout, all little-endian: magic "QXDX", version, fingerprint of the MP4, video and audio description,
// packing of the video, 16 bytes a frame, and a CRC-32 of everything before it.
#pragma once

#include <optional>
#include <string>

#include "codecs/qmp4pkg/FrameTable.h"
#include "codecs/qmp4pkg/InputFile.h"

// a.mp4 -> a.qdx; empty for a name shorter than its ending.
std::string QdxNameOf(const std::string& mp4Name);

// Parses the MP4 and writes its index, under a temporary name first: a reader never meets half a file. False
// with the reason in `error`; an index that was there stays then.
bool WriteQdxIndex(const std::string& mp4Name, const std::string& qdxName, std::string& error);

// The table of an index that is whole and belongs to this MP4.
std::optional<FrameTable> ReadQdxIndex(const std::string& qdxName, const InputFile& mp4);
