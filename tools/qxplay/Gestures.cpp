#include "tools/qxplay/Gestures.h"

#include <cstdlib>

std::optional<Gesture> Gestures::Take(const PointerEvent& event) {
  using Kind = PointerEvent::Kind;
  switch (event.kind) {
    case Kind::kWheel:
      return Gesture{.kind = Gesture::Kind::kWheel, .at = event.at, .by = {}, .steps = event.count};
    case Kind::kPress: {
      m_Pressed = m_Last = event.at;
      const bool second = event.count > 0 && event.count % 2 == 0;
      m_State = second ? State::kSpent : State::kPressed;
      if (second) return Gesture{.kind = Gesture::Kind::kDoubleClick, .at = event.at, .by = {}};
      return std::nullopt;
    }
    case Kind::kRelease: {
      const bool click = m_State == State::kPressed;
      m_State = State::kUp;
      if (click) return Gesture{.kind = Gesture::Kind::kClick, .at = m_Pressed, .by = {}};
      return std::nullopt;
    }
    case Kind::kMove:
      break;
  }
  const bool moved = std::abs(event.at.x - m_Pressed.x) >= kSteadyPixels ||
                     std::abs(event.at.y - m_Pressed.y) >= kSteadyPixels;
  if (m_State == State::kPressed && moved) m_State = State::kDragging;
  if (m_State != State::kDragging) return std::nullopt;
  const Point by = {event.at.x - m_Last.x, event.at.y - m_Last.y};
  m_Last = event.at;
  return Gesture{.kind = Gesture::Kind::kDrag, .at = m_Pressed, .by = by};
}
