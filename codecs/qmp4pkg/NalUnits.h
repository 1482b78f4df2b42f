// NAL units as MP4 stores them, behind a length each, and as decoders want them, behind start codes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "codecs/qmp4pkg/FrameTable.h"

constexpr uint32_t kStartCodeBytes = 4;

// The contents of an avcC or hvcC box. An empty `parameterSets` is fine, they may stand in the frames; false
// when the box is damaged. Contents that begin with a start code mean frames that have start codes already.
bool ParseAvcConfig(std::span<const uint8_t> box, VideoConfig& config);
bool ParseHevcConfig(std::span<const uint8_t> box, VideoConfig& config);

// Replaces the lengths of a frame by start codes. Damage costs the rest of the frame, not all of it: a length
// that is too large is cut.
//
// In place, for lengths of 4 bytes. The number of bytes that count afterwards.
size_t ToStartCodesInPlace(std::span<uint8_t> frame);
// Appends to `out`, for lengths of 1 to 4 bytes.
void ToStartCodes(std::span<const uint8_t> frame, uint32_t lengthBytes, std::vector<uint8_t>& out);
