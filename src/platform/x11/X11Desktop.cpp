// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/x11/X11Desktop.h"

#include "base/Handle.h"
#include "base/Log.h"

#include <vector>

namespace vorn {

std::unique_ptr<X11Desktop> X11Desktop::open() {
  X11Session session = X11Session::open();
  if (!session) return nullptr;
  return std::unique_ptr<X11Desktop>(new X11Desktop(std::move(session)));
}

X11Desktop::X11Desktop(X11Session session)
    : session_(std::move(session)),
      notifier_(xcb_get_file_descriptor(session_.connection.get()), QSocketNotifier::Read) {
  connect(&notifier_, &QSocketNotifier::activated, this, &X11Desktop::readEvents);
}

X11Desktop::~X11Desktop() = default;

std::shared_ptr<void> X11Desktop::listen(Listener listener) {
  auto listeners = listeners_;
  const auto at = listeners->insert(listeners->end(), std::make_shared<Listener>(std::move(listener)));
  // The handle may outlive this object: it holds the list, not the desktop.
  return releasing([listeners, at] { listeners->erase(at); });
}

void X11Desktop::readEvents() {
  xcb_connection_t* c = connection();
  if (xcb_connection_has_error(c)) {
    notifier_.setEnabled(false);
    if (!lostReported_) logError("the connection to the X server was lost; the hot key and clicks are off");
    lostReported_ = true;
    return;
  }
  while (XcbReply<xcb_generic_event_t> event{xcb_poll_for_event(c)}) {
    // A listener may drop its own handle or another's while it runs: a dropped one is skipped.
    const std::vector<std::weak_ptr<Listener>> listeners(listeners_->begin(), listeners_->end());
    for (const std::weak_ptr<Listener>& weak : listeners)
      if (const std::shared_ptr<Listener> listener = weak.lock()) (*listener)(*event);
  }
}

}  // namespace vorn
