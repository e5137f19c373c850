// SPDX-License-Identifier: GPL-3.0-or-later
#include "model/Studio.h"

#include "model/Settings.h"

#include <algorithm>

namespace vorn {
namespace {
const QString kLearnedFrameKey = QStringLiteral("learnedFrame");
const QString kWelcomedKey = QStringLiteral("welcomed");
}  // namespace

Studio& Studio::shared() {
  static Studio* instance = new Studio();  // lives for the whole run, never destroyed
  return *instance;
}

Studio::Studio() : prefs_(Prefs::load()) {
  QSettings settings = userSettings();
  learnedFrame_ = settings.value(kLearnedFrameKey, false).toBool();
  welcomed_ = settings.value(kWelcomedKey, false).toBool();
}

template <class T>
void Studio::assign(T& field, T value, void (Studio::*changed)()) {
  if (field == value) return;
  field = std::move(value);
  Q_EMIT(this->*changed)();
}

void Studio::setPrefs(const Prefs& next) { replacePrefs(next, true); }

void Studio::updatePrefs(const std::function<void(Prefs&)>& change) {
  Prefs next = prefs_;
  change(next);
  replacePrefs(next, true);
}

void Studio::adjustPrefs(const std::function<void(Prefs&)>& change) {
  Prefs next = prefs_;
  change(next);
  replacePrefs(next, false);
}

// Saved (when `save`) before the hook runs, so the hook may read the stored record.
void Studio::replacePrefs(const Prefs& next, bool save) {
  if (prefs_ == next) return;
  const Prefs old = std::exchange(prefs_, next);
  prefsUnsaved_ = true;
  Q_EMIT prefsChanged();
  if (save) savePrefs();
  if (onPrefsChange) onPrefsChange(old, prefs_);
}

void Studio::savePrefs() {
  if (!prefsUnsaved_ || !savesPrefs_) return;
  prefs_.save();
  prefsUnsaved_ = false;
}

double Studio::elapsed(double t) const {
  if (!recordStart_) return 0;
  const double running = pausedAt_ ? t - *pausedAt_ : 0;
  return std::max(0.0, (t - *recordStart_) - pausedTotal_ - running);
}

void Studio::setLearnedFrame(bool value) {
  userSettings().setValue(kLearnedFrameKey, value);
  assign(learnedFrame_, value, &Studio::learnedFrameChanged);
}

void Studio::setWelcomed(bool value) {
  userSettings().setValue(kWelcomedKey, value);
  assign(welcomed_, value, &Studio::welcomedChanged);
}

void Studio::setPhase(Phase value) { assign(phase_, value, &Studio::phaseChanged); }
void Studio::setCountdown(int value) { assign(countdown_, value, &Studio::countdownChanged); }
void Studio::setRecordStart(std::optional<double> value) {
  assign(recordStart_, value, &Studio::recordStartChanged);
}
void Studio::setPausedAt(std::optional<double> value) {
  assign(pausedAt_, value, &Studio::pausedAtChanged);
}
void Studio::setPausedTotal(double value) {
  assign(pausedTotal_, value, &Studio::pausedTotalChanged);
}
void Studio::setMicLevel(float value) { assign(micLevel_, value, &Studio::micLevelChanged); }
void Studio::setScreenAccess(bool value) {
  assign(screenAccess_, value, &Studio::screenAccessChanged);
}
void Studio::setCameraProblem(std::optional<QString> problem) {
  if (problem == cameraProblem_) return;
  cameraProblem_ = std::move(problem);
  Q_EMIT cameraAccessChanged();
}
void Studio::setMicAccess(bool value) { assign(micAccess_, value, &Studio::micAccessChanged); }
void Studio::setTake(std::optional<Take> value) {
  assign(take_, std::move(value), &Studio::takeChanged);
}
void Studio::setCameras(std::vector<DeviceInfo> value) {
  assign(cameras_, std::move(value), &Studio::camerasChanged);
}
void Studio::setMics(std::vector<DeviceInfo> value) {
  assign(mics_, std::move(value), &Studio::micsChanged);
}
void Studio::setActiveCamera(const QString& value) {
  assign(activeCamera_, value, &Studio::activeCameraChanged);
}
void Studio::setMicName(const QString& value) { assign(micName_, value, &Studio::micNameChanged); }
void Studio::setRecordingHasMic(bool value) {
  assign(recordingHasMic_, value, &Studio::recordingHasMicChanged);
}
void Studio::setToast(std::optional<QString> value) {
  assign(toast_, std::move(value), &Studio::toastChanged);
}
void Studio::setShowScript(bool value) { assign(showScript_, value, &Studio::showScriptChanged); }
void Studio::setCompact(bool value) { assign(compact_, value, &Studio::compactChanged); }

}  // namespace vorn
