// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "desktop/OverlayBackend.h"

#include <memory>

namespace vorn {

class CompositorWatch;
class X11Desktop;

// Overlays on X11: the window manager's hints on the desktop's connection, the input shape
// through the Shape extension, the compositing manager from its selection.
class X11Overlays : public OverlayBackend {
 public:
  explicit X11Overlays(X11Desktop& desktop);
  ~X11Overlays() override;

  void markOverlay(QWidget& window) override;
  void setInputRegion(QWidget& window, const std::vector<QRect>& pixels) override;
  bool compositing() const override;

 private:
  X11Desktop& desktop_;
  std::unique_ptr<CompositorWatch> compositor_;
};

}  // namespace vorn
