// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "model/Model.h"
#include "model/Prefs.h"

#include <QObject>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace vorn {

// The observable state of the application, GUI thread only. Every setter emits its
// property's change signal only when the value really changes. The engine is the only
// writer of the session fields; views observe the signals.
class Studio : public QObject {
  Q_OBJECT

 public:
  using PrefsHook = std::function<void(const Prefs& old, const Prefs& now)>;

  // The one instance, created on first use.
  static Studio& shared();

  // Reads the saved preferences and the two flags from the user store.
  Studio();

  const Prefs& prefs() const { return prefs_; }
  // Stores the record; an unequal one is saved at once, then handed to onPrefsChange.
  void setPrefs(const Prefs& next);
  // Changes some fields of the current record, with the same effect as setPrefs.
  void updatePrefs(const std::function<void(Prefs&)>& change);
  // The same, saved only by the next savePrefs or change: a drag moves a handle on every
  // mouse move and is saved once, when it ends.
  void adjustPrefs(const std::function<void(Prefs&)>& change);
  void savePrefs();
  // Installed by the engine; not observable.
  PrefsHook onPrefsChange;
  // From here on preference changes stay in this process: `vorn record` runs on its options
  // without touching what the user saved.
  void keepPrefsUnsaved() { savesPrefs_ = false; }

  Phase phase() const { return phase_; }
  void setPhase(Phase value);
  int countdown() const { return countdown_; }
  void setCountdown(int value);
  // Media times (seconds on the monotonic clock).
  std::optional<double> recordStart() const { return recordStart_; }
  void setRecordStart(std::optional<double> value);
  std::optional<double> pausedAt() const { return pausedAt_; }
  void setPausedAt(std::optional<double> value);
  double pausedTotal() const { return pausedTotal_; }
  void setPausedTotal(double value);
  float micLevel() const { return micLevel_; }
  void setMicLevel(float value);
  bool screenAccess() const { return screenAccess_; }
  void setScreenAccess(bool value);
  bool cameraAccess() const { return !cameraProblem_; }
  // Why no camera can be used, in one sentence for the user; nothing while one can.
  const std::optional<QString>& cameraProblem() const { return cameraProblem_; }
  void setCameraProblem(std::optional<QString> problem);
  bool micAccess() const { return micAccess_; }
  void setMicAccess(bool value);
  const std::optional<Take>& take() const { return take_; }
  void setTake(std::optional<Take> value);
  const std::vector<DeviceInfo>& cameras() const { return cameras_; }
  void setCameras(std::vector<DeviceInfo> value);
  const std::vector<DeviceInfo>& mics() const { return mics_; }
  void setMics(std::vector<DeviceInfo> value);
  const QString& activeCamera() const { return activeCamera_; }
  void setActiveCamera(const QString& value);
  const QString& micName() const { return micName_; }
  void setMicName(const QString& value);
  bool recordingHasMic() const { return recordingHasMic_; }
  void setRecordingHasMic(bool value);
  const std::optional<QString>& toast() const { return toast_; }
  void setToast(std::optional<QString> value);
  bool showScript() const { return showScript_; }
  void setShowScript(bool value);
  bool compact() const { return compact_; }
  void setCompact(bool value);
  // Whether Ctrl+Shift+9 records from anywhere (the desktop let the studio hold it); where not,
  // the texts point to the studio's own keys and to binding `vorn --toggle`.
  bool recordKeyHeld() const { return recordKeyHeld_; }
  void setRecordKeyHeld(bool value) { recordKeyHeld_ = value; }
  // Persisted: every assignment is written to the store at once.
  bool learnedFrame() const { return learnedFrame_; }
  void setLearnedFrame(bool value);
  bool welcomed() const { return welcomed_; }
  void setWelcomed(bool value);

  bool isPaused() const { return pausedAt_.has_value(); }
  // Recorded seconds at media time t, pauses excluded, never negative.
  double elapsed(double t) const;

 Q_SIGNALS:
  void prefsChanged();
  void phaseChanged();
  void countdownChanged();
  void recordStartChanged();
  void pausedAtChanged();
  void pausedTotalChanged();
  void micLevelChanged();
  void screenAccessChanged();
  void cameraAccessChanged();
  void micAccessChanged();
  void takeChanged();
  void camerasChanged();
  void micsChanged();
  void activeCameraChanged();
  void micNameChanged();
  void recordingHasMicChanged();
  void toastChanged();
  void showScriptChanged();
  void compactChanged();
  void learnedFrameChanged();
  void welcomedChanged();

 private:
  template <class T>
  void assign(T& field, T value, void (Studio::*changed)());

  Prefs prefs_;
  Phase phase_ = Phase::idle;
  int countdown_ = 3;
  std::optional<double> recordStart_;
  std::optional<double> pausedAt_;
  double pausedTotal_ = 0;
  float micLevel_ = 0;
  bool screenAccess_ = true;
  std::optional<QString> cameraProblem_;
  bool micAccess_ = true;
  std::optional<Take> take_;
  std::vector<DeviceInfo> cameras_;
  std::vector<DeviceInfo> mics_;
  QString activeCamera_;
  QString micName_;
  bool recordingHasMic_ = true;
  std::optional<QString> toast_;
  void replacePrefs(const Prefs& next, bool save);

  bool savesPrefs_ = true;
  bool prefsUnsaved_ = false;  // adjusted since the last save
  bool showScript_ = false;
  bool recordKeyHeld_ = true;
  bool compact_ = false;
  bool learnedFrame_ = false;
  bool welcomed_ = false;
};

}  // namespace vorn
