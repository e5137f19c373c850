// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11Overlays.h"

#include "platform/x11/CompositorWatch.h"
#include "platform/x11/OverlayWindow.h"

#include <QWidget>

namespace vorn {

X11Overlays::X11Overlays(X11Desktop& desktop)
    : desktop_(desktop), compositor_(std::make_unique<CompositorWatch>(desktop)) {
  connect(compositor_.get(), &CompositorWatch::changed, this, &OverlayBackend::compositingChanged);
}

X11Overlays::~X11Overlays() = default;

void X11Overlays::markOverlay(QWidget& window) { OverlayWindow::markOverlay(desktop_, window.winId()); }

void X11Overlays::setInputRegion(QWidget& window, const std::vector<QRect>& pixels) {
  OverlayWindow::setInputRegion(desktop_, window.winId(), pixels);
}

bool X11Overlays::compositing() const { return compositor_->running(); }

}  // namespace vorn
