// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPointer>
#include <QPropertyAnimation>
#include <QWidget>

#include <functional>
#include <vector>

namespace vorn {

class OverlayBackend;

// A floating surface of the studio (the dimming, the frame, the monitor, the island): frameless,
// translucent, above normal windows on every workspace, never in the taskbar or the window
// switcher, never taking the keyboard. Overlays stack by `level` among themselves.
class OverlayPanel : public QWidget {
  Q_OBJECT

 public:
  static constexpr int dimLevel = 25, frameLevel = 26, monitorLevel = 27, islandLevel = 28;

  // Unmanaged panels are left alone by the window manager: no frame window of its own around
  // them swallows the clicks their input region lets through. A panel that takes the
  // keyboard must be managed.
  enum class Managing { unmanaged, managed };

  // `overlays` may be null (no display server to tell): the panel then takes the mouse
  // everywhere.
  OverlayPanel(OverlayBackend* overlays, int level, Managing managing = Managing::unmanaged);
  ~OverlayPanel() override;

  int level() const { return level_; }
  // Marks a studio window (the monitor, the island) that the viewfinder's dim leaves clear.
  static void keepUndimmed(QWidget* window);
  static bool undimmed(const QWidget* window);
  // Shows the panel without activating it and restacks every overlay by level.
  void orderFront();
  // Animates the panel's opacity to `target` over `seconds` (ease in and out), then runs `then`.
  void fade(double target, double seconds, std::function<void()> then = {});
  // The parts of the panel (its coordinates) that take the mouse; empty: click-through.
  void setInputRegion(const std::vector<QRect>& rects);

 private:
  OverlayBackend* overlays_;
  const int level_;
  const Managing managing_;
  bool marked_ = false;
  std::vector<QRect> input_{QRect(0, 0, -1, -1)};  // no region set yet
  QPropertyAnimation fade_;
  QMetaObject::Connection fadeDone_;
};

}  // namespace vorn
