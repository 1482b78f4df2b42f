// Brings access units into the form that live input takes: start codes, the first one of four bytes, and key
// frames that open with their parameter sets.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

enum class VideoCodec { kH264, kH265 };

// One stream's formatter; no locks, one thread.
class AccessUnitFormatter {
 public:
  explicit AccessUnitFormatter(VideoCodec codec) : m_Codec(codec) {}

  // Learns parameter sets that come outside the stream. `bytes`: units with start codes; anything else is
  // ignored.
  void LearnParameterSets(std::span<const uint8_t> bytes);

  // Rewrites one access unit with start codes of three or four bytes into `out` and answers whether it is a
  // key frame. Delimiters are dropped; a key frame gets its parameter sets in front, the last known ones when
  // it brings none itself. `flaggedKey`: what the container says. `out` is empty when nothing is left, or
  // when there is no start code in `bytes`.
  bool Format(std::span<const uint8_t> bytes, bool flaggedKey, std::vector<uint8_t>& out);

 private:
  using Unit = std::span<const uint8_t>;  // from its header byte on, no start code

  enum class Kind {
    kDelimiter,
    kVideoParameters,
    kSequenceParameters,
    kPictureParameters,
    kKeySlice,
    kOther
  };
  Kind KindOf(Unit unit) const;
  static bool IsParameterSet(Kind kind);
  static std::vector<Unit> Split(std::span<const uint8_t> bytes);
  void Remember(const std::vector<Unit>& units);
  bool IsRemembered(Unit unit) const;

  const VideoCodec m_Codec;
  std::vector<std::vector<uint8_t>> m_ParameterSets;  // video, sequence, picture parameters, in this order
};
