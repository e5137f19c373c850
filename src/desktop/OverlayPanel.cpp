// SPDX-License-Identifier: GPL-3.0-or-later
#include "desktop/OverlayPanel.h"

#include "desktop/OverlayBackend.h"

#include <algorithm>

namespace vorn {
namespace {

std::vector<OverlayPanel*>& panels() {
  static std::vector<OverlayPanel*> all;
  return all;
}

}  // namespace

OverlayPanel::OverlayPanel(OverlayBackend* overlays, int level, Managing managing)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint |
                           (managing == Managing::unmanaged ? Qt::BypassWindowManagerHint : Qt::Widget)),
      overlays_(overlays),
      level_(level),
      managing_(managing),
      fade_(this, "windowOpacity") {
  setAttribute(Qt::WA_TranslucentBackground);
  setAttribute(Qt::WA_ShowWithoutActivating);
  setFocusPolicy(Qt::NoFocus);
  fade_.setEasingCurve(QEasingCurve::InOutQuad);
  panels().push_back(this);
}

OverlayPanel::~OverlayPanel() { std::erase(panels(), this); }

void OverlayPanel::orderFront() {
  if (overlays_ && managing_ == Managing::managed && !marked_) {
    overlays_->markOverlay(*this);
    marked_ = true;
  }
  show();
  std::vector<OverlayPanel*> shown;
  for (OverlayPanel* panel : panels())
    if (panel->isVisible()) shown.push_back(panel);
  std::stable_sort(shown.begin(), shown.end(), [](auto* a, auto* b) { return a->level_ < b->level_; });
  for (OverlayPanel* panel : shown) panel->raise();
}

void OverlayPanel::fade(double target, double seconds, std::function<void()> then) {
  fade_.stop();
  disconnect(fadeDone_);
  fade_.setStartValue(windowOpacity());
  fade_.setEndValue(target);
  fade_.setDuration(int(seconds * 1000));
  if (then) fadeDone_ = connect(&fade_, &QPropertyAnimation::finished, this, std::move(then));
  fade_.start();
}

void OverlayPanel::setInputRegion(const std::vector<QRect>& rects) {
  if (!overlays_ || rects == input_) return;
  input_ = rects;
  // The server counts the window's pixels, Qt its points.
  const qreal ratio = devicePixelRatioF();
  std::vector<QRect> pixels;
  for (const QRect& r : rects) pixels.push_back(QRectF(r.x() * ratio, r.y() * ratio, r.width() * ratio, r.height() * ratio).toAlignedRect());
  overlays_->setInputRegion(*this, pixels);
}

void OverlayPanel::keepUndimmed(QWidget* window) { window->setProperty("vornUndimmed", true); }

bool OverlayPanel::undimmed(const QWidget* window) {
  return window->property("vornUndimmed").toBool();
}

}  // namespace vorn
