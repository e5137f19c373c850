// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/CameraSource.h"

#include <cstdio>

#include "base/Clock.h"
#include "base/Log.h"
#include "capture/CameraDevice.h"
#include "capture/FaceDetector.h"
#include "capture/MicLevel.h"
#include "capture/SoundServer.h"

namespace vorn {

namespace {

// Face finding looks at one camera frame in this many.
constexpr long visionInterval = 7;
// More consecutive all-zero microphone buffers than this make the microphone "silent".
constexpr long silentRun = 100;

}  // namespace

CameraSource::CameraSource(SoundServer& sound, std::optional<QString> sampleCamera)
    : sound_(sound), sampleCamera_(std::move(sampleCamera)) {}

CameraSource::~CameraSource() {
  sessionQueue_.sync([this] { closeInputs(); });
}

std::vector<DeviceInfo> CameraSource::cameras() const { return listCameras(sampleCamera_); }

std::vector<DeviceInfo> CameraSource::mics() {
  std::vector<DeviceInfo> found;
  for (const AudioSourceInfo& source : sound_.sources())
    if (!source.isMonitor)
      found.push_back(
          {QString::fromStdString(source.name), QString::fromStdString(source.description)});
  return found;
}

std::optional<DeviceInfo> CameraSource::defaultMic() {
  const std::optional<SoundServerInfo> server = sound_.serverInfo();
  if (!server) return std::nullopt;
  for (const DeviceInfo& mic : mics())
    if (mic.id.toStdString() == server->defaultSource) return mic;
  return std::nullopt;
}

void CameraSource::configure(std::optional<DeviceInfo> camera, std::optional<DeviceInfo> mic) {
  micStarting.set(mic.has_value());
  sessionQueue_.async(
      [this, camera = std::move(camera), mic = std::move(mic)] { reconfigure(camera, mic); });
}

void CameraSource::stop() {
  sessionQueue_.async([this] {
    closeInputs();
    running_.set(false);
    clearPicture();
  });
}

void CameraSource::sync() {
  sessionQueue_.sync([] {});
  audioQueue_.sync([] {});
}

void CameraSource::reconfigure(const std::optional<DeviceInfo>& camera,
                               const std::optional<DeviceInfo>& mic) {
  // An input already open on the same device stays: reopening a camera costs a visible gap.
  if (!camera || !camera_ || cameraId_ != camera->id) {
    if (camera_) camera_->stop();
    camera_.reset();
    cameraId_.reset();
    if (camera) openCamera(*camera);
  }
  if (!mic || !mic_ || micId_ != mic->id) {
    mic_.reset();
    micId_.reset();
    if (mic) openMic(*mic);
  }
  if (!camera) clearPicture();
  // A new microphone starts with a clean slate.
  audioQueue_.async([this] {
    zeroRun_ = 0;
    silent.set(false);
  });
  running_.set(camera || mic);
}

void CameraSource::openCamera(const DeviceInfo& camera) {
  std::string error;
  camera_ = vorn::openCamera(camera, sampleCamera_, &error);
  if (!camera_) {
    logError("camera left out: " + error + ".");
    return;
  }
  cameraId_ = camera.id;
  camera_->start([this](FrameRef frame, double at) { cameraFrame(std::move(frame), at); });
}

void CameraSource::openMic(const DeviceInfo& mic) {
  auto recorder = sound_.makeInput(audioQueue_, [this](AudioRef buffer) { micBuffer(buffer); });
  std::string error;
  if (!recorder->open(AudioInputFormat::microphone(mic.id.toStdString()), &error)) {
    micStarting.set(false);
    logError("microphone left out: " + error);
    return;
  }
  mic_ = std::move(recorder);
  micId_ = mic.id;
}

void CameraSource::clearPicture() {
  // A detection still running on the last frame would bring the face back: let it end.
  // The next camera's face is nowhere near the old one.
  visionQueue_.sync([this] {
    if (detector_) detector_->forget();
  });
  latest.set({});
  face.set(std::nullopt);
}

void CameraSource::closeInputs() {
  if (camera_) camera_->stop();
  camera_.reset();
  cameraId_.reset();
  mic_.reset();
  micId_.reset();
  micStarting.set(false);
}

void CameraSource::cameraFrame(FrameRef frame, double at) {
  latest.set(CameraFrame{frame, at});
  ++frameCount_;
  if (frameCount_ % visionInterval != 0 || !visionBusy_.testAndSet(false, true)) return;
  // The detection holds its own reference to this frame, never to `latest`.
  visionQueue_.async([this, frame = std::move(frame)] {
    detectFace(frame);
    visionBusy_.set(false);
  });
}

void CameraSource::detectFace(const ConstFrameRef& frame) {
  if (!detector_) detector_ = std::make_unique<FaceDetector>();
  // No face keeps the old one: its age tells the render loop when to stop trusting it.
  if (const std::optional<Rect> found = detector_->largestFace(*frame))
    face.set(Face{*found, mediaTime()});
}

void CameraSource::receiveMic(const AudioRef& buffer) {
  audioQueue_.sync([&] { micBuffer(buffer); });
}

void CameraSource::micBuffer(const AudioRef& buffer) {
  const bool hasChannel = buffer && buffer->channels > 0 && buffer->frameCount() > 0;
  const double power = hasChannel ? averagePowerDb(*buffer) : -999;
  if (debugEnabled() && buffer && ++micCount_ % 50 == 1) {
    // Our stamps are already on the host clock: both columns show the same time.
    char line[200];
    std::snprintf(line, sizeof line,
                  "Vorn mic: buffer #%ld %d Hz %d ch, %d samples, pts %.6f host %.6f level %.1f",
                  micCount_, buffer->sampleRate, buffer->channels, buffer->frameCount(),
                  buffer->pts, buffer->pts, power);
    debugLine(line);
  }
  if (hasChannel) {
    micStarting.set(false);
    level.set(levelForPower(power));
    zeroRun_ = power < silentPowerDb ? zeroRun_ + 1 : 0;
    silent.set(zeroRun_ > silentRun);
  }
  if (onMic && buffer) onMic(buffer);
}

}  // namespace vorn
