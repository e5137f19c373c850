// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/StudioWindows.h"
#include "viewfinder/FrameState.h"
#include "viewfinder/FrameZones.h"

#include <QRect>
#include <QRegion>

#include <memory>
#include <optional>

namespace vorn {

class DimView;
class Engine;
class FrameView;
class OverlayPanel;
class Studio;
class OverlayBackend;

// The on-screen viewfinder: the dimmed screen with a clear hole over the capture region, and
// above it the frame panel, click-through everywhere but the frame's edge band and, while
// framing, the chip strip above it. Everything is derived afresh from the engine each tick;
// only what changed touches the window system.
class Viewfinder final : public ViewfinderPanels {
 public:
  Viewfinder(Studio& studio, OverlayBackend* overlays);
  ~Viewfinder() override;
  // Builds the panels around `engine`; until then the viewfinder does nothing.
  void attach(Engine& engine);

  void show(const DisplayInfo& screen) override;
  void fadeOut() override;
  void update(double now) override;
  void setNeedsDisplay() override;
  void pulse(double until) override { pulseUntil_ = until; }

  // For tests and the review states.
  FrameView* frameView() const { return frameView_; }
  OverlayPanel* framePanel() const { return framePanel_.get(); }
  OverlayPanel* dimPanel() const { return dimPanel_.get(); }
  DimView* dimView() const { return dimView_; }
  bool compositing() const;
  // The frame panel's rectangle for a capture region `f` (global points).

 private:
  bool visible() const;
  bool grabAllowed() const;
  bool grabbableAt(QPointF mouse, const QRectF& f) const;
  ChipPlace chipPlaceFor(const QRectF& f) const;
  void placePanel(const QRectF& f);
  void updateInput(const QRectF& f);
  FrameState stateFor(bool grabbable, QPointF mouse, const QRectF& f) const;
  void compositorChanged(bool running);
  void shapeToStrokes();
  // The studio's other windows (the monitor, the island) as they are drawn, global points.
  QRegion studioWindows() const;
  void shapeDim();
  void shapeFrame();

  Studio& studio_;
  OverlayBackend* overlays_;
  Engine* engine_ = nullptr;
  std::unique_ptr<OverlayPanel> dimPanel_, framePanel_;
  DimView* dimView_ = nullptr;
  FrameView* frameView_ = nullptr;
  std::optional<DisplayInfo> screen_;
  double pulseUntil_ = 0;
  bool shown_ = false;
  ChipPlace chipPlace_ = ChipPlace::above;
  double frameAlpha_ = 0;
  bool wasGrabbable_ = false;
  bool inputAllowed_ = false;
  QRectF inputFor_;
  QRegion dimClear_;  // cut out of the dim panel: the hole and Vorn's other windows
  QRegion studioRegion_;  // studioWindows() at the last update
  QRegion strokes_;      // without a compositor, the frame panel's drawn pixels
  QRegion frameShape_;   // the frame panel's shape: the strokes, or all, less the studio windows
};

}  // namespace vorn
