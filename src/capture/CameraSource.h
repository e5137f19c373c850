// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "base/AudioBuffer.h"
#include "base/FrameBuffer.h"
#include "base/Locked.h"
#include "base/Rect.h"
#include "base/SerialQueue.h"
#include "capture/Face.h"
#include "model/Model.h"

namespace vorn {

// A camera picture and the media time the camera took it.
struct CameraFrame {
  ConstFrameRef buffer;
  double at = 0;
};

class CameraDevice;
class FaceDetector;
class AudioInput;
class SoundServer;

// The camera and the microphone of a session. It keeps the newest camera picture, finds
// the largest face in every seventh one, meters the microphone, notices a microphone that
// sends only digital silence, and hands every microphone buffer to onMic.
class CameraSource {
 public:
  // `sampleCamera`: the sample camera's picture or movie, when it is to be offered.
  CameraSource(SoundServer& sound, std::optional<QString> sampleCamera = std::nullopt);
  ~CameraSource();
  CameraSource(const CameraSource&) = delete;
  CameraSource& operator=(const CameraSource&) = delete;

  // Cameras that can be opened (the sample camera among them, see CameraDevice.h).
  std::vector<DeviceInfo> cameras() const;
  bool offersSampleCamera() const { return sampleCamera_.has_value(); }
  // The sound server's sources that are not monitors; the id is the source name.
  std::vector<DeviceInfo> mics();
  // The server's default input, unless that is a monitor (then there is no default mic).
  std::optional<DeviceInfo> defaultMic();

  // Swaps the inputs on "vorn.session" and returns at once. A device that can't be opened
  // is left out; with neither device the session stops.
  void configure(std::optional<DeviceInfo> camera, std::optional<DeviceInfo> mic);
  // Stops the session on "vorn.session" and clears latest and face.
  void stop();
  // Waits until every configure and stop sent so far has taken effect, including the
  // microphone's fresh start.
  void sync();
  bool isRunning() const { return running_.get(); }

  // One microphone buffer as the recorder delivers it: metered, then passed to onMic, on
  // "vorn.mic" (waits for it when called from elsewhere).
  void receiveMic(const AudioRef& buffer);

  // Written by the camera thread, read by the render loop.
  Locked<CameraFrame> latest;
  // Written on "vorn.vision", read by the render loop.
  Locked<std::optional<Face>> face;
  // Written on "vorn.mic", read by the engine and the level bars.
  Locked<float> level{0};
  Locked<bool> silent{false};
  // A microphone was asked for and has sent no sound yet (a stream may take a second to).
  Locked<bool> micStarting{false};
  // Every microphone buffer, on "vorn.mic". Set before the first configure.
  std::function<void(AudioRef)> onMic;

 private:
  void reconfigure(const std::optional<DeviceInfo>& camera, const std::optional<DeviceInfo>& mic);
  void openCamera(const DeviceInfo& camera);
  void openMic(const DeviceInfo& mic);
  void closeInputs();
  void clearPicture();
  void cameraFrame(FrameRef frame, double at);
  void detectFace(const ConstFrameRef& frame);
  void micBuffer(const AudioRef& buffer);

  SoundServer& sound_;
  const std::optional<QString> sampleCamera_;
  Locked<bool> visionBusy_{false};
  Locked<bool> running_{false};
  // Camera thread only.
  long frameCount_ = 0;
  // "vorn.mic" only.
  long zeroRun_ = 0;
  long micCount_ = 0;
  // "vorn.vision" only; made on first use.
  std::unique_ptr<FaceDetector> detector_;
  SerialQueue visionQueue_{"vorn.vision"};
  SerialQueue audioQueue_{"vorn.mic"};
  // "vorn.session" only.
  std::unique_ptr<CameraDevice> camera_;
  std::optional<QString> cameraId_;
  std::unique_ptr<AudioInput> mic_;
  std::optional<QString> micId_;
  SerialQueue sessionQueue_{"vorn.session"};  // last: drained first, before the inputs go
};

}  // namespace vorn
