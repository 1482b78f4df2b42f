// Which part of a picture is shown while the user zooms and moves. Pure arithmetic.
#pragma once

#include "tools/qxplay/Layout.h"

// Keeps the picture's shape and never leaves it. Counts in fractions of the picture, so that the part stays
// the same when the picture's size changes.
class ZoomView {
 public:
  static constexpr double kMost = 16;      // times as large as the whole picture
  static constexpr int kLeastPixels = 32;  // that stay to be seen, each way, however close

  // Pixels; not above 0: nothing to show.
  void SetPicture(int width, int height);
  // factor: above 1 goes closer. x, y: the point that stays where it is, from 0 to 1 across what is shown.
  // These two answer whether anything changed.
  bool Zoom(double factor, double x, double y);
  // Pulls the picture along, in fractions of what is shown.
  bool Pull(double right, double down);
  void ShowWhole();

  bool IsWhole() const { return m_dScale >= 1; }
  // In picture pixels; empty without a picture.
  Area Part() const;

 private:
  bool Set(double left, double top, double scale);

  int m_nWidth = 0;
  int m_nHeight = 0;
  double m_dLeft = 0;  // of the picture's width
  double m_dTop = 0;
  double m_dScale = 1;  // of the picture's width and height is shown
};
