#include "tools/common/AccessUnitFormatter.h"

#include <algorithm>

namespace {

constexpr uint8_t kStartCode[] = {0, 0, 0, 1};

void Append(std::vector<uint8_t>& out, std::span<const uint8_t> unit) {
  out.insert(out.end(), std::begin(kStartCode), std::end(kStartCode));
  out.insert(out.end(), unit.begin(), unit.end());
}

}  // namespace

void AccessUnitFormatter::LearnParameterSets(std::span<const uint8_t> bytes) {
  Remember(Split(bytes));
}

bool AccessUnitFormatter::Format(std::span<const uint8_t> bytes, bool flaggedKey, std::vector<uint8_t>& out) {
  out.clear();
  const std::vector<Unit> units = Split(bytes);
  const auto holds = [&](Kind kind) {
    return std::ranges::any_of(units, [&](Unit unit) { return KindOf(unit) == kind; });
  };
  const bool key = flaggedKey || holds(Kind::kKeySlice);
  if (!key) {
    // Repeated parameter sets would make it look like a key frame, which it is not.
    for (const Unit unit : units) {
      const Kind kind = KindOf(unit);
      if (kind == Kind::kDelimiter || (IsParameterSet(kind) && IsRemembered(unit))) continue;
      Append(out, unit);
    }
    Remember(units);
    return false;
  }
  Remember(units);
  if (!std::ranges::any_of(units, [&](Unit unit) { return KindOf(unit) > Kind::kPictureParameters; }))
    return false;
  for (const auto& parameterSet : m_ParameterSets)
    Append(out, parameterSet);
  for (const Unit unit : units) {
    const Kind kind = KindOf(unit);
    if (kind != Kind::kDelimiter && !IsParameterSet(kind)) Append(out, unit);
  }
  return true;
}

AccessUnitFormatter::Kind AccessUnitFormatter::KindOf(Unit unit) const {
  if (m_Codec == VideoCodec::kH264) {
    switch (unit[0] & 0x1F) {  // nal_unit_type, ITU-T H.264 table 7-1
      case 5:
        return Kind::kKeySlice;
      case 7:
        return Kind::kSequenceParameters;
      case 8:
        return Kind::kPictureParameters;
      case 9:
        return Kind::kDelimiter;
      default:
        return Kind::kOther;
    }
  }
  const int type = unit[0] >> 1 & 0x3F;  // nal_unit_type, ITU-T H.265 table 7-1
  if (type >= 16 && type <= 21) return Kind::kKeySlice;
  switch (type) {
    case 32:
      return Kind::kVideoParameters;
    case 33:
      return Kind::kSequenceParameters;
    case 34:
      return Kind::kPictureParameters;
    case 35:
      return Kind::kDelimiter;
    default:
      return Kind::kOther;
  }
}

bool AccessUnitFormatter::IsParameterSet(Kind kind) {
  return kind == Kind::kVideoParameters || kind == Kind::kSequenceParameters ||
         kind == Kind::kPictureParameters;
}

std::vector<AccessUnitFormatter::Unit> AccessUnitFormatter::Split(std::span<const uint8_t> bytes) {
  constexpr uint8_t kShortStartCode[] = {0, 0, 1};
  std::vector<Unit> units;
  auto code = std::search(bytes.begin(), bytes.end(), std::begin(kShortStartCode), std::end(kShortStartCode));
  while (code != bytes.end()) {
    const auto begin = code + std::size(kShortStartCode);
    code = std::search(begin, bytes.end(), std::begin(kShortStartCode), std::end(kShortStartCode));
    Unit unit(begin, code);
    // Zeros at the end are padding, or the longer start code's first byte.
    while (!unit.empty() && unit.back() == 0)
      unit = unit.first(unit.size() - 1);
    if (!unit.empty()) units.push_back(unit);
  }
  return units;
}

// A unit with sequence parameters brings a whole new set; picture parameters alone are added to it.
void AccessUnitFormatter::Remember(const std::vector<Unit>& units) {
  const auto brings = [&](Kind kind) {
    return std::ranges::any_of(units, [&](Unit unit) { return KindOf(unit) == kind; });
  };
  const bool newSet = brings(Kind::kSequenceParameters);
  const bool newVideoParameters = brings(Kind::kVideoParameters);
  if (newSet) {
    std::erase_if(m_ParameterSets, [&](const auto& set) {
      return KindOf(set) != Kind::kVideoParameters || newVideoParameters;
    });
  }
  for (const Unit unit : units) {
    constexpr size_t kMost = 64;  // a stream that changes its picture parameters without end
    if (IsParameterSet(KindOf(unit)) && !IsRemembered(unit) && m_ParameterSets.size() < kMost) {
      m_ParameterSets.emplace_back(unit.begin(), unit.end());
    }
  }
  std::ranges::stable_sort(m_ParameterSets, {}, [this](const auto& set) { return KindOf(set); });
}

bool AccessUnitFormatter::IsRemembered(Unit unit) const {
  return std::ranges::any_of(m_ParameterSets, [&](const auto& set) { return std::ranges::equal(set, unit); });
}
