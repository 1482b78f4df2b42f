// Takes a stream with start codes apart.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

// The NAL units, from their header byte on, without what stands behind them up to the next start code.
inline std::vector<std::vector<uint8_t>> NalUnits(const std::vector<uint8_t>& stream) {
  constexpr uint8_t kCode[] = {0, 0, 1};
  std::vector<std::vector<uint8_t>> units;
  auto at = std::search(stream.begin(), stream.end(), std::begin(kCode), std::end(kCode));
  while (at != stream.end()) {
    const auto next = std::search(at + 3, stream.end(), std::begin(kCode), std::end(kCode));
    units.emplace_back(at + 3, next);
    while (!units.back().empty() && units.back().back() == 0)
      units.back().pop_back();
    at = next;
  }
  return units;
}

// The same without parameter sets, which muxers and recordings repeat as they like.
inline std::vector<std::vector<uint8_t>> NalUnitsOfPictures(const std::vector<uint8_t>& stream, bool h265) {
  auto units = NalUnits(stream);
  std::erase_if(units, [h265](const std::vector<uint8_t>& unit) {
    const int type = unit.empty() ? -1 : h265 ? unit[0] >> 1 & 63 : unit[0] & 31;
    return h265 ? type >= 32 && type <= 34 : type == 7 || type == 8;
  });
  return units;
}
