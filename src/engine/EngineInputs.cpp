// SPDX-License-Identifier: GPL-3.0-or-later
// The engine's inputs: the cameras and microphones listed, chosen and set aside.
#include "engine/Engine.h"

#include "base/Background.h"
#include "base/Log.h"
#include "capture/CameraAccess.h"
#include "capture/CameraSource.h"
#include "model/Geometry.h"
#include "model/Studio.h"

namespace vorn {
namespace {

// PulseAudio names Bluetooth inputs after BlueZ.
bool isBluetooth(const DeviceInfo& mic) { return mic.id.startsWith(QStringLiteral("bluez_")); }

}  // namespace

void Engine::refreshDevices() {
  struct Devices {
    std::vector<DeviceInfo> cameras, mics;
    std::optional<DeviceInfo> defaultMic;
    std::optional<QString> cameraProblem;
  };
  inBackground(this, [source = cameraSource_.get()] {
    // Asked for by name, the sample camera is all the camera needed.
    std::optional<QString> problem = source->offersSampleCamera() ? std::nullopt : cameraProblem();
    return Devices{source->cameras(), source->mics(), source->defaultMic(), std::move(problem)};
  }, [this](Outcome<Devices> outcome) {
    if (!outcome.value) return logError("device list failed: " + outcome.error);
    studio_.setCameraProblem(outcome.value->cameraProblem);
    studio_.setCameras(outcome.value->cameras);
    studio_.setMics(outcome.value->mics);
    defaultMic_ = outcome.value->defaultMic;
    if (studio_.phase() != Phase::idle) configureInputs();
    Q_EMIT inputsConfigured();
  });
}

void Engine::configureInputs() {
  const Prefs& prefs = studio_.prefs();
  const Slots slots = Geometry::slots(prefs);
  std::optional<DeviceInfo> camera;
  if (prefs.cameraOn && slots.camera) {
    for (const DeviceInfo& c : studio_.cameras())
      if (prefs.cameraID && c.id == *prefs.cameraID) camera = c;
    if (!camera && !studio_.cameras().empty()) camera = studio_.cameras().front();
  }
  std::optional<DeviceInfo> mic;
  if (prefs.micOn) {
    const auto usable = [this](const DeviceInfo& m) { return !mutedMics_.contains(m.id); };
    for (const DeviceInfo& m : studio_.mics())
      if (prefs.micID && m.id == *prefs.micID && usable(m)) mic = m;
    if (!mic && defaultMic_ && usable(*defaultMic_)) mic = defaultMic_;
    for (const DeviceInfo& m : studio_.mics())
      if (!mic && usable(m)) mic = m;
  }
  studio_.setActiveCamera(camera ? camera->name : QString());
  studio_.setMicName(mic ? mic->name : QString());
  activeMic_ = mic;
  const QString cameraKey = camera ? camera->id : QStringLiteral("-");
  const QString micKey = mic ? mic->id : QStringLiteral("-");
  if (cameraKey == cameraKey_ && micKey == micKey_) return;
  cameraKey_ = cameraKey;
  micKey_ = micKey;
  cameraSource_->configure(camera, mic);
}

void Engine::replaceSilentMic() {
  const Prefs& prefs = studio_.prefs();
  if (!prefs.micOn || !micAuthorized_ || !activeMic_ || !isBluetooth(*activeMic_) ||
      !cameraSource_->silent.get())
    return;
  const DeviceInfo silent = *activeMic_;
  logError((silent.name + " sends only silence; setting it aside until a device reconnects").toStdString());
  mutedMics_.insert(silent.id);
  configureInputs();
  if (activeMic_ && activeMic_->id != silent.id)
    flash(tr("%1 isn't sending sound. Using %2").arg(silent.name, activeMic_->name));
}

// No permission prompt stands between Vorn and PulseAudio: the microphone is always allowed.
void Engine::resolveMicAccess() {
  micAuthorized_ = true;
  studio_.setMicAccess(true);
  configureInputs();
}

}  // namespace vorn
