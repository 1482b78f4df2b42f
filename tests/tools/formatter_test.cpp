// Access units as live input takes them, where real clips do not tell: parameter sets that change or are
// missing, and bytes that are none. The rest is seen in source_test.cpp.
#include <gtest/gtest.h>

#include <string>

#include "tools/common/AccessUnitFormatter.h"

namespace {

using namespace std::string_literals;

// Units of H.264 by their first byte: sequence and picture parameters, key slice, slice.
const std::string kStart = "\0\0\0\1"s, kSps = kStart + "\x67s", kSps2 = kStart + "\x67S",
                  kPps = kStart + "\x68p", kPps2 = kStart + "\x68P", kIdr = kStart + "\x65i",
                  kDelimiter = kStart + "\x09\xF0", kSlice = kStart + "\x41v";

// "K" in front of a key frame.
std::string Format(AccessUnitFormatter& formatter, const std::string& bytes, bool flaggedKey = false) {
  std::vector<uint8_t> out;
  const bool key = formatter.Format(std::vector<uint8_t>(bytes.begin(), bytes.end()), flaggedKey, out);
  return (key ? "K" : "") + std::string(out.begin(), out.end());
}

TEST(AccessUnitFormatter, RepeatsTheLatestParameterSetsInFrontOfKeyFramesOnly) {
  AccessUnitFormatter formatter(VideoCodec::kH264);
  const std::string learnt = kPps + kSps;
  formatter.LearnParameterSets(std::vector<uint8_t>(learnt.begin(), learnt.end()));
  EXPECT_EQ(Format(formatter, kIdr.substr(1)), "K" + kSps + kPps + kIdr);
  EXPECT_EQ(Format(formatter, kSlice, true), "K" + kSps + kPps + kSlice);
  EXPECT_EQ(Format(formatter, kSps + kPps + kSlice), kSlice);
  Format(formatter, kSps2 + kPps + kIdr);
  EXPECT_EQ(Format(formatter, kPps2 + kSlice), kPps2 + kSlice);
  EXPECT_EQ(Format(formatter, kDelimiter + kIdr + "\0\0"s), "K" + kSps2 + kPps + kPps2 + kIdr);
  // H.265: a delimiter and a trailing picture.
  AccessUnitFormatter h265(VideoCodec::kH265);
  EXPECT_EQ(Format(h265, kStart + "\x46\x01" + kStart + "\x02\x01v"), kStart + "\x02\x01v");
}

TEST(AccessUnitFormatter, NothingFromNothing) {
  AccessUnitFormatter formatter(VideoCodec::kH264);
  for (const std::string& bytes : {""s, "\0"s, "\0\0\1"s, kStart, kStart + kStart, "abc"s, kSps + kPps})
    EXPECT_EQ(Format(formatter, bytes, true), "") << bytes.size();
}

}  // namespace
