// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/GrabLoop.h"
#include "capture/OwnClient.h"
#include "capture/Pointer.h"
#include "capture/ScreenPixels.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11WindowStack.h"

#include <QPoint>
#include <QRect>
#include <QRegion>

#include <functional>
#include <memory>
#include <optional>

namespace vorn {

class ShmSegment;

// Grabs one display of the X server through MIT-SHM and draws the cursor and click rings in.
// Vorn's own windows are never in a frame: every top-level window is redirected (the Composite
// extension, automatic mode: the server keeps painting the screen), and where one of Vorn's
// windows lies over the area, that part is built from the other windows' own pictures in
// stacking order. Damage on each window, and on the root, skips ticks where nothing was drawn in
// the area.
// Constructed on the caller's thread, then used only by the grab loop's thread.
class X11Grabber : public Grabber {
 public:
  // Opens its own connection; throws std::runtime_error with one sentence when the server
  // cannot be reached or shares no memory. `onPointer` hears where the pointer is each tick.
  X11Grabber(const DisplayInfo& display, OwnClient own,
             std::function<void(const PointerState&)> onPointer);
  ~X11Grabber() override;

  // Whether Vorn's windows are left out (the server can redirect windows).
  bool leavesOutOwnWindows() const { return redirected_; }

  Result grab(const ScreenConfig& config, bool changed) override;

 private:
  void setUpComposite();
  void setUpDamage();
  void setUpCursor();
  QRect sourcePixels(const ScreenConfig& config) const;
  QRegion ownIn(const QRect& source, double now);
  void readEvents(const QRect& source, double now);
  void readPointer(double now);
  void fetchCursorImage();
  bool needsFrame(const QRect& source, bool changed, double now, const QRegion& own) const;
  bool nearArea(const QRect& source, QPoint point) const;
  bool capture(const QRect& source, const QRegion& own);
  void compose(const QRect& source, const QRegion& own);
  bool read(xcb_drawable_t drawable, QPoint origin, const QRect& part, const QRect& source,
            bool blend);
  xcb_pixmap_t wallpaper();
  FrameRef makeFrame(const ScreenConfig& config, const QRect& source, double now);

  X11Session session_;
  const QRect display_;  // the display in root-window pixels
  const double scale_;   // pixels per point
  const std::function<void(const PointerState&)> onPointer_;

  std::unique_ptr<ShmSegment> area_;     // the area's picture, built here
  std::unique_ptr<ShmSegment> scratch_;  // parts read for building it
  std::unique_ptr<FramePool> pool_;

  bool redirected_ = false;  // false: the server cannot leave Vorn's windows out
  bool hasDamage_ = false;
  std::optional<X11WindowStack> stack_;  // set by the constructor
  uint8_t damageEvent_ = 0;
  uint32_t rootDamage_ = 0;  // drawing on the root itself: its background, a desktop drawn there
  uint8_t fixesEvent_ = 0;
  bool dirty_ = true;  // something was drawn in the area since the last frame
  xcb_atom_t wallpaperAtom_ = XCB_NONE;  // where wallpaper setters leave the root's picture
  xcb_pixmap_t wallpaper_ = XCB_NONE;
  double wallpaperCheckedAt_ = -1e9;

  bool hasCursor_ = false;  // XFixes is there: without it no cursor is drawn
  CursorImage cursor_;
  bool cursorStale_ = true;  // the cursor's picture changed since it was fetched
  bool cursorRedraw_ = true;  // ...since the last frame
  QPoint pointer_;
  bool pointerShown_ = true;  // not over one of Vorn's windows
  uint16_t buttons_ = 0;
  QPoint clickAt_;
  double clickTime_ = -1e9;
  // What the last frame showed.
  QPoint framePointer_;
  bool framePointerShown_ = false;
  bool frameHadRing_ = false;
  QRegion frameOwn_;
};

}  // namespace vorn
