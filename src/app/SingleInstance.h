#pragma once

#include <QLocalServer>
#include <QObject>

#include <functional>

namespace vorn {

// One studio per user: a later start hands over to the running one (which comes forward)
// instead of opening a second studio on the same camera and microphone.
class SingleInstance : public QObject {
  Q_OBJECT

 public:
  // True when a studio is already running and has been asked to come forward.
  static bool handOver();

  // Takes the place of the running studio; `onStart` runs for each later start.
  explicit SingleInstance(std::function<void()> onStart);

 private:
  QLocalServer server_;
};

}  // namespace vorn
