// What the user means by moving and pressing the mouse. Pure.
#pragma once

#include <optional>

#include "tools/qxplay/Layout.h"

// Of the left button and the wheel; desktop coordinates.
struct PointerEvent {
  enum class Kind { kPress, kMove, kRelease, kWheel };
  Kind kind = Kind::kMove;
  Point at;
  int count = 0;  // press: of presses in quick succession, this one included; wheel: steps up
};

struct Gesture {
  enum class Kind { kClick, kDoubleClick, kDrag, kWheel };
  Kind kind = Kind::kClick;
  Point at;       // drag: where it began
  Point by;       // drag: since the one before
  int steps = 0;  // wheel
  bool operator==(const Gesture&) const = default;
};

class Gestures {
 public:
  static constexpr int kSteadyPixels = 4;  // a press that moves by less is a click

  std::optional<Gesture> Take(const PointerEvent& event);

 private:
  enum class State { kUp, kPressed, kDragging, kSpent };
  State m_State = State::kUp;
  Point m_Pressed;
  Point m_Last;
};
