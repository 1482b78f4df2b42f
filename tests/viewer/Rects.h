// Comparison and printing of rectangles in tests.
#pragma once

#include <ostream>

#include "platform/User.h"

inline bool operator==(const RECT& a, const RECT& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

inline void PrintTo(const RECT& rect, std::ostream* out) {
  *out << '(' << rect.left << ',' << rect.top << ',' << rect.right << ',' << rect.bottom << ')';
}
