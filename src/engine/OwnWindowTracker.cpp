#include "engine/OwnWindowTracker.h"

#include "capture/OwnWindows.h"

#include <QWindow>

namespace vorn {

OwnWindowTracker::OwnWindowTracker(OwnWindows& own, QWindow* window)
    : QObject(window), own_(own), window_(window) {
  for (auto changed : {&QWindow::xChanged, &QWindow::yChanged, &QWindow::widthChanged,
                       &QWindow::heightChanged})
    connect(window, changed, this, &OwnWindowTracker::refresh);
  connect(window, &QWindow::visibleChanged, this, &OwnWindowTracker::refresh);
  refresh();
}

OwnWindowTracker::~OwnWindowTracker() {
  if (id_ >= 0) own_.remove(id_);
}

void OwnWindowTracker::refresh() {
  if (!window_->isVisible()) {
    if (id_ >= 0) own_.remove(std::exchange(id_, -1));
    return;
  }
  // With the window manager's frame: the title bar is ours to leave out as well.
  const QRect frame = window_->frameGeometry();
  const Rect rect{double(frame.x()), double(frame.y()), double(frame.width()), double(frame.height())};
  if (id_ < 0)
    id_ = own_.add(rect);
  else
    own_.update(id_, rect);
}

}  // namespace vorn
