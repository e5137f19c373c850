#pragma once

#include "base/Locked.h"
#include "engine/RecordOptions.h"
#include "engine/RenderInputs.h"

#include <QString>

#include <memory>
#include <optional>

namespace vorn {

class CameraSource;
class Compositor;
class Pointer;
class Recorder;
class RenderLoop;
class ScreenSource;

// One take recorded without the studio's windows: the screen (or the sample screen), the
// camera (or the sample camera), the microphone and system audio, the render loop and the
// recorder, wired as the studio wires them. GUI thread only.
class RecordSession {
 public:
  struct Result {
    QString path;
    double duration = 0;
    long droppedFrames = 0;
  };

  explicit RecordSession(RecordOptions options);
  ~RecordSession();
  RecordSession(const RecordSession&) = delete;
  RecordSession& operator=(const RecordSession&) = delete;

  // Starts the sources and frames the capture area. Throws std::runtime_error with one
  // sentence when the take cannot be recorded (no display, area outside the display…).
  void open();
  // Creates the take file and starts writing into it; throws with one sentence.
  void begin();
  // Turns a fresh press of the pointer inside the captured area into a click (click zoom).
  void pollClicks();
  // Stops writing, finishes the file (mixing two audio tracks into one) and closes the
  // sources.
  Result finish();

  // Set on the writer thread when the take stopped early (a full disk): the sentence to show.
  Locked<QString> failure;
  // Things the user should know that do not stop the take.
  QStringList warnings() const { return warnings_; }
  const RenderInputs& renderInputs() const { return inputs_; }

 private:
  void openScreen();
  void openCamera();
  Rect frameHome(Size displaySize) const;

  RecordOptions options_;
  RenderInputs inputs_;
  QString path_;
  bool hasMic_ = false;
  double begunAt_ = 0;
  bool wasPressed_ = false;
  QStringList warnings_;
  // Where the sources' audio goes: the recorder while writing, nothing otherwise.
  Locked<std::shared_ptr<Recorder>> audioTarget_;
  std::shared_ptr<Recorder> recorder_;
  std::unique_ptr<Pointer> pointer_;
  std::unique_ptr<Compositor> compositor_;
  std::unique_ptr<ScreenSource> screen_;
  std::unique_ptr<CameraSource> camera_;
  std::unique_ptr<RenderLoop> loop_;  // after the sources: stops before they go
};

}  // namespace vorn
