// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QRect>

#include <vector>

class QWidget;

namespace vorn {

// What the display server is told of an overlay window (the viewfinder's dim and frame, the
// island): above normal windows on every workspace, out of the taskbar and the window
// switcher, which of its parts take the mouse; and whether a compositing manager blends
// translucent windows with what lies below them. GUI thread.
class OverlayBackend : public QObject {
  Q_OBJECT

 public:
  // Call before the window is first shown: the window manager reads these when it maps it.
  virtual void markOverlay(QWidget& window) = 0;
  // The parts of the window (its own pixels) that receive pointer events; none: click-through.
  virtual void setInputRegion(QWidget& window, const std::vector<QRect>& pixels) = 0;
  virtual bool compositing() const = 0;

 Q_SIGNALS:
  void compositingChanged(bool running);
};

}  // namespace vorn
