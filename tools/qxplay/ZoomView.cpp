#include "tools/qxplay/ZoomView.h"

#include <algorithm>
#include <cmath>

void ZoomView::SetPicture(int width, int height) {
  m_nWidth = std::max(width, 0);
  m_nHeight = std::max(height, 0);
  Set(m_dLeft, m_dTop, m_dScale);
}

bool ZoomView::Zoom(double factor, double x, double y) {
  const double before = m_dScale;
  const double pointX = m_dLeft + x * before, pointY = m_dTop + y * before;
  if (!Set(m_dLeft, m_dTop, before / factor)) return false;
  Set(pointX - x * m_dScale, pointY - y * m_dScale, m_dScale);
  return true;
}

bool ZoomView::Pull(double right, double down) {
  return Set(m_dLeft - right * m_dScale, m_dTop - down * m_dScale, m_dScale);
}

void ZoomView::ShowWhole() {
  Set(0, 0, 1);
}

bool ZoomView::Set(double left, double top, double scale) {
  const int shorter = std::max(std::min(m_nWidth, m_nHeight), 1);
  const double least = std::min(std::max(1 / kMost, static_cast<double>(kLeastPixels) / shorter), 1.0);
  scale = std::clamp(scale, least, 1.0);
  left = std::clamp(left, 0.0, 1 - scale);
  top = std::clamp(top, 0.0, 1 - scale);
  const bool changed = left != m_dLeft || top != m_dTop || scale != m_dScale;
  m_dLeft = left;
  m_dTop = top;
  m_dScale = scale;
  return changed;
}

Area ZoomView::Part() const {
  if (m_nWidth == 0 || m_nHeight == 0) return {};
  const int width = std::max(1, static_cast<int>(std::lround(m_dScale * m_nWidth)));
  const int height = std::max(1, static_cast<int>(std::lround(m_dScale * m_nHeight)));
  const int left = std::min(static_cast<int>(std::lround(m_dLeft * m_nWidth)), m_nWidth - width);
  const int top = std::min(static_cast<int>(std::lround(m_dTop * m_nHeight)), m_nHeight - height);
  return {.left = left, .top = top, .right = left + width, .bottom = top + height};
}
