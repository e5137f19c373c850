#pragma once

#include "capture/GrabLoop.h"
#include "capture/OwnWindows.h"
#include "capture/ScreenPixels.h"
#include "capture/X11Connection.h"

#include <QPoint>
#include <QRect>

#include <memory>

namespace vorn {

class ShmSegment;

// Grabs one display of the X server through MIT-SHM, draws the cursor and click rings in,
// leaves Vorn's own windows out and, with XDamage, skips areas where nothing was drawn.
// Constructed on the caller's thread, then used only by the grab loop's thread.
class X11Grabber : public Grabber {
 public:
  // Opens its own connection; throws std::runtime_error with one sentence when the server
  // cannot be reached or shares no memory.
  X11Grabber(const DisplayInfo& display, std::shared_ptr<OwnWindows> ownWindows);
  ~X11Grabber() override;

  Result grab(const ScreenConfig& config, bool changed) override;

 private:
  void setUpDamage();
  void setUpCursor();
  QRect sourcePixels(const ScreenConfig& config) const;
  void readEvents(const QRect& source, const std::vector<Rect>& own);
  void readPointer(double now);
  void fetchCursorImage();
  bool needsFrame(const QRect& source, bool changed, double now,
                  const OwnWindows::Rects& own) const;
  bool nearArea(const QRect& source, QPoint point) const;
  void leaveOutOwnWindows(const QRect& source, const OwnWindows::Rects& own);
  FrameRef makeFrame(const ScreenConfig& config, const QRect& source,
                     const OwnWindows::Rects& own, double now);

  X11Session session_;
  const QRect display_;  // the display in root-window pixels
  const double scale_;   // pixels per point
  const std::shared_ptr<OwnWindows> ownWindows_;

  // Two segments in turn: the previous grab still holds the last clean pixels of the area,
  // which stand in for Vorn's own windows in the next one.
  std::unique_ptr<ShmSegment> segments_[2];
  QRect grabbed_[2];  // the root rectangle each segment holds (empty: nothing yet)
  int current_ = 0;
  std::unique_ptr<FramePool> pool_;

  bool hasDamage_ = false;
  uint8_t damageEvent_ = 0;
  uint8_t fixesEvent_ = 0;
  bool dirty_ = true;  // something was drawn in the area since the last frame

  bool hasCursor_ = false;  // XFixes is there: without it no cursor is drawn
  CursorImage cursor_;
  bool cursorStale_ = true;  // the cursor's picture changed since it was fetched
  bool cursorRedraw_ = true;  // ...since the last frame
  QPoint pointer_;
  uint16_t buttons_ = 0;
  QPoint clickAt_;
  double clickTime_ = -1e9;
  // What the last frame showed.
  QPoint framePointer_;
  bool frameHadRing_ = false;
  OwnWindows::Rects frameOwn_;
};

}  // namespace vorn
