#pragma once

#include <QObject>

class QWindow;

namespace vorn {

class OwnWindows;

// Keeps one of Vorn's windows registered with the screen source's own windows while it is
// visible, following its moves and resizes, so that it never appears in a take and its
// repaints never cost a grab. GUI thread only; `own` must outlive it.
class OwnWindowTracker : public QObject {
  Q_OBJECT

 public:
  OwnWindowTracker(OwnWindows& own, QWindow* window);
  ~OwnWindowTracker() override;

 private:
  void refresh();

  OwnWindows& own_;
  QWindow* const window_;
  int id_ = -1;
};

}  // namespace vorn
