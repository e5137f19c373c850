// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "platform/x11/X11Connection.h"

#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <list>
#include <memory>

namespace vorn {

// The studio's own connection to the X server for desktop-wide services (grabbed keys, raw
// clicks). Its events are read on the GUI thread as they arrive and offered to each listener.
// Independent of the toolkit's connection, so the services work under any Qt platform.
class X11Desktop : public QObject {
  Q_OBJECT

 public:
  using Listener = std::function<void(const xcb_generic_event_t& event)>;

  // Null when no X server can be reached.
  static std::unique_ptr<X11Desktop> open();
  ~X11Desktop() override;

  xcb_connection_t* connection() const { return session_.connection.get(); }
  xcb_window_t root() const { return session_.screen->root; }
  // The whole X screen, global points.
  Rect bounds() const {
    return {0, 0, double(session_.screen->width_in_pixels), double(session_.screen->height_in_pixels)};
  }
  // Offers every event to `listener` while the returned handle lives.
  std::shared_ptr<void> listen(Listener listener);
  // Reads what has arrived; also call after a round trip made outside the event handlers,
  // which may have queued events the socket will not announce again.
  void readEvents();

 private:
  explicit X11Desktop(X11Session session);

  X11Session session_;
  QSocketNotifier notifier_;
  using Listeners = std::list<std::shared_ptr<Listener>>;
  std::shared_ptr<Listeners> listeners_ = std::make_shared<Listeners>();
  bool lostReported_ = false;
};

}  // namespace vorn
