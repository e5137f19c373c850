// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

#include <memory>

namespace vorn {

class X11Desktop;

// Whether a compositing manager runs (someone owns _NET_WM_CM_Sn): only then do translucent
// windows blend with what is below them. Follows one starting or stopping.
class CompositorWatch : public QObject {
  Q_OBJECT

 public:
  explicit CompositorWatch(X11Desktop& desktop);
  bool running() const { return running_; }

 Q_SIGNALS:
  void changed(bool running);

 private:
  void check();

  X11Desktop& desktop_;
  unsigned int selection_ = 0;
  bool running_ = false;
  std::shared_ptr<void> listening_;
};

}  // namespace vorn
