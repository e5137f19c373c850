// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/OwnClient.h"

#include <QRect>
#include <QRegion>

#include <optional>
#include <vector>
#include <xcb/xcb.h>

namespace vorn {

// The top-level windows of an X screen (the root's children), bottom to top, kept current from
// the server's structure events, and which of them are Vorn's own. Each readable window of
// another client carries a damage object, so that drawing inside it is reported even where it
// is hidden. Used on one thread with its own connection.
class X11WindowStack {
 public:
  struct Window {
    xcb_window_t id = 0;
    QRect rect;  // its inside in root pixels
    bool mapped = false;
    bool own = false;       // Vorn's, or a frame around one of Vorn's
    bool readable = false;  // drawn by a client (not input-only, not the server's own)
    bool opaque = true;     // hides what lies below (no alpha channel)
    uint32_t damage = 0;
    // Where one of Vorn's shaped windows is drawn, in its own pixels; none: all of it.
    std::optional<QRegion> shape;
    QRegion drawn() const { return shape ? shape->translated(rect.topLeft()) : QRegion(rect); }
  };

  // A place one of Vorn's windows left keeps being treated as Vorn's until the screen there has
  // been repainted since: a compositing manager does so a little later, a loaded one much
  // later. A first repaint may have been drawn before the manager heard the window go, so it
  // takes a second one, or one and `settleSeconds`. Where no repaint is ever reported, the
  // place is given up after `leftPlaceSeconds`.
  static constexpr double settleSeconds = 0.25;
  static constexpr double leftPlaceSeconds = 2.0;

  // Reads the current stack and starts following it.
  X11WindowStack(xcb_connection_t* connection, xcb_window_t root, OwnClient own,
                 bool withDamage);

  // Applies a structure event of the root. Returns the root area whose picture it may have
  // changed (empty when none, or when the event was not one of the stack's).
  QRect handle(const xcb_generic_event_t* event, double now);
  // The window holding `damage`, or null.
  const Window* damaged(uint32_t damage) const;

  const std::vector<Window>& windows() const { return windows_; }
  // The screen was drawn on at `drawn` (root pixels), as reported by damage on the root.
  void repainted(const QRect& drawn);
  // Where Vorn's windows are, or were and the screen may still show them.
  QRegion ownRegion(double now);
  // Whether the top-level window `id` is Vorn's.
  bool isOwn(xcb_window_t id) const;

 private:
  struct LeftPlace {
    QRegion unseen;      // not repainted since the window left
    QRegion seenOnce;    // repainted once since
    double since;
  };
  void leavePlace(const QRegion& area, double now);
  void scan();
  void describe(std::vector<Window*> windows);
  void track(Window& window);
  void leave(const Window& window, double now);
  Window* find(xcb_window_t id);
  const Window* find(xcb_window_t id) const;
  void erase(xcb_window_t id, double now);
  void restack(xcb_window_t id, xcb_window_t above);
  QRect configure(const xcb_configure_notify_event_t& event, double now);
  QRect mapped(xcb_window_t id, bool on, double now);
  void readShape(Window& window);
  QRect reshaped(xcb_window_t id, double now);

  xcb_connection_t* const connection_;
  const xcb_window_t root_;
  const OwnClient own_;
  const uint32_t serverIds_;  // the id range of the server's own windows
  const bool withDamage_;
  uint8_t shapeEvent_ = 0;  // 0: the server has no shape extension
  std::vector<Window> windows_;  // bottom to top
  std::vector<LeftPlace> left_;
};

}  // namespace vorn
