// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QString>

namespace vorn {

class Engine;
class Studio;

// The studio on the session bus: the name org.vorn.Vorn, the object /org/vorn/Vorn. Owning the
// name is what keeps the studio single: the bus hands it to exactly one process, and every
// later start finds it taken and asks the owner instead. Desktops drive recording through it
// where no global key can be grabbed. GUI thread only.
class StudioService : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.vorn.Vorn")
  Q_PROPERTY(QString Phase READ phase)

 public:
  static const QString name;
  static const QString path;

  enum class Claim { owned, taken, noBus };
  // Puts the object on the bus, then asks for the name: a call that comes the moment the name
  // is ours finds the object (it waits in the event loop until `attach`).
  Claim claim();
  void attach(Engine& engine, Studio& studio);

  QString phase() const;

 public Q_SLOTS:
  // Starts a take, or stops (or cancels the countdown of) the one under way.
  void Toggle();
  // Opens the studio if needed and counts down to a take.
  void Record();
  void Stop();
  void Show();
  // Quits, saving a take under way.
  void Quit();

 Q_SIGNALS:
  void quitRequested();

 private:
  void announcePhase();
  void sessionReady();

  Engine* engine_ = nullptr;
  Studio* studio_ = nullptr;
  // Since the studio last opened: its first picture came, and its inputs are configured.
  // A countdown before both would record without the microphone.
  bool firstFrame_ = false;
  bool inputsConfigured_ = false;
  bool recordWhenReady_ = false;
};

}  // namespace vorn
