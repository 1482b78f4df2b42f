// Access units as live input takes them: start codes, delimiters, parameter sets.
#include <gtest/gtest.h>

#include <initializer_list>

#include "tools/common/AccessUnitFormatter.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts)
    all.insert(all.end(), part.begin(), part.end());
  return all;
}
Bytes Long(const Bytes& unit) {
  return Join({{0, 0, 0, 1}, unit});
}
Bytes Short(const Bytes& unit) {
  return Join({{0, 0, 1}, unit});
}

struct Formatted {
  bool key = false;
  Bytes bytes;
  bool operator==(const Formatted&) const = default;
};
Formatted Format(AccessUnitFormatter& formatter, const Bytes& bytes, bool flaggedKey = false) {
  Formatted result;
  result.key = formatter.Format(bytes, flaggedKey, result.bytes);
  return result;
}

// H.264 units; nal_unit_type in the low five bits.
const Bytes kSps = {0x67, 1}, kSps2 = {0x67, 2}, kPps = {0x68, 3}, kPps2 = {0x68, 4},
            kDelimiter = {0x09, 0xF0}, kSei = {0x06, 5}, kIdr = {0x65, 6}, kSlice = {0x41, 7};

TEST(AccessUnitFormatter, KeyFrameOpensWithItsParameterSets) {
  AccessUnitFormatter formatter(VideoCodec::kH264);
  const Bytes in = Join({Long(kDelimiter), Short(kSei), Short(kSps), Long(kPps), Short(kIdr), {0, 0}});
  EXPECT_EQ(Format(formatter, in), (Formatted{true, Join({Long(kSps), Long(kPps), Long(kSei), Long(kIdr)})}));
}

TEST(AccessUnitFormatter, RepeatsParameterSetsWhereAKeyFrameLacksThem) {
  AccessUnitFormatter formatter(VideoCodec::kH264);
  formatter.LearnParameterSets(Join({Long(kPps), Long(kSps)}));
  const Formatted expected{true, Join({Long(kSps), Long(kPps), Long(kIdr)})};
  EXPECT_EQ(Format(formatter, Short(kIdr)), expected);
  // A key frame without an IDR slice, as the container flags it.
  EXPECT_EQ(Format(formatter, Short(kSlice), true),
            (Formatted{true, Join({Long(kSps), Long(kPps), Long(kSlice)})}));
  // A new set replaces the old one, picture parameters alone are added.
  Format(formatter, Join({Long(kSps2), Long(kPps), Long(kIdr)}));
  Format(formatter, Join({Long(kPps2), Long(kSlice)}));
  EXPECT_EQ(Format(formatter, Short(kIdr)),
            (Formatted{true, Join({Long(kSps2), Long(kPps), Long(kPps2), Long(kIdr)})}));
}

TEST(AccessUnitFormatter, OtherFramesDoNotLookLikeKeyFrames) {
  AccessUnitFormatter formatter(VideoCodec::kH264);
  formatter.LearnParameterSets(Join({Long(kSps), Long(kPps)}));
  EXPECT_EQ(Format(formatter, Join({Long(kDelimiter), Long(kSps), Long(kPps), Short(kSei), Short(kSlice)})),
            (Formatted{false, Join({Long(kSei), Long(kSlice)})}));
}

TEST(AccessUnitFormatter, H265KeyFrames) {
  AccessUnitFormatter formatter(VideoCodec::kH265);
  const Bytes video = {0x40, 1, 1}, sequence = {0x42, 1, 2}, picture = {0x44, 1, 3}, delimiter = {0x46, 1},
              idr = {0x26, 1, 4}, cra = {0x2A, 1, 5}, trail = {0x02, 1, 6};
  EXPECT_EQ(Format(formatter, Join({Long(delimiter), Long(sequence), Long(picture), Long(video), Long(idr)})),
            (Formatted{true, Join({Long(video), Long(sequence), Long(picture), Long(idr)})}));
  EXPECT_EQ(Format(formatter, Short(cra)),
            (Formatted{true, Join({Long(video), Long(sequence), Long(picture), Long(cra)})}));
  EXPECT_EQ(Format(formatter, Short(trail)), (Formatted{false, Long(trail)}));
}

TEST(AccessUnitFormatter, NothingFromNothing) {
  AccessUnitFormatter formatter(VideoCodec::kH264);
  for (const Bytes& bytes : {Bytes{}, Bytes{0}, Bytes{0, 0, 1}, Bytes{0, 0, 0, 1}, Bytes{0, 0, 1, 0, 0, 1},
                             Bytes{1, 2, 3}, Long(kDelimiter), Join({Long(kSps), Long(kPps)})}) {
    EXPECT_EQ(Format(formatter, bytes, true), (Formatted{false, {}})) << bytes.size();
  }
}

}  // namespace
