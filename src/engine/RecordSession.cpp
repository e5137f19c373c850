#include "engine/RecordSession.h"

#include "base/Clock.h"
#include "base/Log.h"
#include "capture/CameraSource.h"
#include "capture/Pointer.h"
#include "capture/ScreenSource.h"
#include "engine/HomeFrame.h"
#include "engine/RenderLoop.h"
#include "model/Takes.h"
#include "record/AudioFlattener.h"
#include "record/Recorder.h"
#include "render/Compositor.h"

#include <QFileInfo>

#include <chrono>
#include <cmath>
#include <stdexcept>
#include <thread>

namespace vorn {
namespace {

// Waits a little for a source's first picture so that a take does not open on a blank frame.
template <class Ready>
void waitBriefly(Ready ready) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
  while (!ready() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

std::runtime_error refusal(const QString& sentence) {
  return std::runtime_error(sentence.toStdString());
}

}  // namespace

RecordSession::RecordSession(RecordOptions options) : options_(std::move(options)) {}

RecordSession::~RecordSession() {
  if (loop_) loop_->stop();
  audioTarget_.set(nullptr);
}

void RecordSession::open() {
  compositor_ = std::make_unique<Compositor>();
  openScreen();
  openCamera();
  loop_ = std::make_unique<RenderLoop>(*compositor_, *screen_, *camera_, pointer_.get());
  loop_->inputs.set(inputs_);
}

void RecordSession::openScreen() {
  const std::vector<DisplayInfo> displays = ScreenSource::displays();
  if (displays.empty()) throw refusal(QStringLiteral("No display to capture."));
  const size_t index = size_t(options_.display.value_or(0));
  if (index >= displays.size())
    throw refusal(QStringLiteral("There is no display %1: this computer has %2.")
                      .arg(index)
                      .arg(displays.size()));
  const DisplayInfo& display = displays[index];

  screen_ = std::make_unique<ScreenSource>();
  screen_->onSystemAudio = [this](AudioRef buffer) {
    if (auto recorder = audioTarget_.get()) recorder->appendAudio(buffer, buffer->pts, true);
  };
  try {
    screen_->start(display.id, options_.prefs.systemAudio);
  } catch (const std::exception& error) {
    throw refusal(QStringLiteral("The screen can't be captured: %1").arg(error.what()));
  }
  if (!std::getenv("VORN_SAMPLE_SCREEN")) pointer_ = makeX11Pointer();

  const Prefs& p = options_.prefs;
  inputs_.displaySize = screen_->displaySize();
  inputs_.displayOrigin = {display.rect.x, display.rect.y};
  inputs_.home = frameHome(inputs_.displaySize);
  inputs_.follow = p.follow;
  inputs_.clickZoom = p.clickZoom;
  inputs_.slots = Geometry::slots(p);
  inputs_.aspect = HomeFrame::aspect(p);
  inputs_.mirror = p.mirror;
  inputs_.fps = int(p.fps);
  inputs_.live = true;
  waitBriefly([&] { return screen_->latest.get().has_value(); });
}

Rect RecordSession::frameHome(Size displaySize) const {
  if (!options_.area) return HomeFrame::restore(options_.prefs, displaySize);
  const Rect display{0, 0, displaySize.width, displaySize.height};
  if (!display.contains(*options_.area))
    throw refusal(QStringLiteral("The area %1,%2,%3,%4 lies outside the %5 × %6 display.")
                      .arg(options_.area->x)
                      .arg(options_.area->y)
                      .arg(options_.area->width)
                      .arg(options_.area->height)
                      .arg(displaySize.width)
                      .arg(displaySize.height));
  // An area of another shape is fitted to the layout about its centre, as the studio does.
  return HomeFrame::fitAspect(*options_.area, HomeFrame::aspect(options_.prefs), displaySize);
}

void RecordSession::openCamera() {
  const Prefs& p = options_.prefs;
  camera_ = std::make_unique<CameraSource>();
  camera_->onMic = [this](AudioRef buffer) {
    if (auto recorder = audioTarget_.get()) recorder->appendAudio(buffer, buffer->pts, false);
  };

  std::optional<DeviceInfo> camera;
  if (p.cameraOn && inputs_.slots.camera) {
    const std::vector<DeviceInfo> cameras = CameraSource::cameras();
    for (const DeviceInfo& c : cameras)
      if (p.cameraID && c.id == *p.cameraID) camera = c;
    if (!camera && !cameras.empty()) camera = cameras.front();
    if (!camera) warnings_ << QStringLiteral("No camera found: recording without the camera.");
  }

  std::optional<DeviceInfo> mic;
  if (p.micOn) {
    const std::vector<DeviceInfo> mics = CameraSource::mics();
    for (const DeviceInfo& m : mics)
      if (p.micID && m.id == *p.micID) mic = m;
    if (!mic) mic = CameraSource::defaultMic();
    if (!mic && !mics.empty()) mic = mics.front();
    if (!mic) warnings_ << QStringLiteral("Recording without sound: Vorn can't use the microphone");
  }
  hasMic_ = mic.has_value();
  if (camera || mic) {
    camera_->configure(camera, mic);
    camera_->sync();
  }
  if (camera) waitBriefly([&] { return camera_->latest.get() != nullptr; });
}

void RecordSession::begin() {
  try {
    path_ = options_.out ? QFileInfo(*options_.out).absoluteFilePath()
                         : Takes::nextURL().toLocalFile();
  } catch (const std::exception& error) {
    throw refusal(QStringLiteral("The takes folder can't be created: %1").arg(error.what()));
  }
  try {
    recorder_ = std::make_shared<Recorder>(path_, int(options_.prefs.fps), hasMic_,
                                           options_.prefs.systemAudio);
  } catch (const std::exception& error) {
    throw refusal(QString::fromStdString(error.what()));
  }
  recorder_->setFailureHandler([this](const QString& sentence) { failure.set(sentence); });
  begunAt_ = mediaTime();
  if (!recorder_->begin(begunAt_)) throw refusal(QStringLiteral("Couldn't start recording."));

  inputs_.recording = inputs_.writing = true;
  loop_->inputs.set(inputs_);
  loop_->recorder.set(recorder_);
  audioTarget_.set(recorder_);
  loop_->start();
}

void RecordSession::pollClicks() {
  if (!pointer_ || !inputs_.clickZoom) return;
  const auto state = pointer_->query();
  if (!state) return;
  const bool fresh = state->pressed && !wasPressed_;
  wasPressed_ = state->pressed;
  if (!fresh) return;
  const Point p{state->position.x - inputs_.displayOrigin.x,
                state->position.y - inputs_.displayOrigin.y};
  const Rect live = loop_->live.get();
  if (!(live.isEmpty() ? inputs_.home : live).contains(p)) return;
  inputs_.clickPoint = p;
  inputs_.clickTime = mediaTime();
  loop_->inputs.set(inputs_);
}

RecordSession::Result RecordSession::finish() {
  Result result{path_, 0, 0};
  if (!recorder_) return result;
  loop_->recorder.set(nullptr);
  audioTarget_.set(nullptr);
  loop_->stop();
  const long appended = loop_->appendedFrames();
  result.duration = recorder_->finish();
  camera_->stop();
  screen_->stop();

  // Every frame slot between the first and the last frame that holds no frame is dropped.
  const auto span = loop_->appendedSpan();
  const long owed =
      span ? std::lround((span->second - span->first) * double(options_.prefs.fps)) + 1 : 0;
  const long written = appended - recorder_->droppedFrames();
  result.droppedFrames = std::max(0L, owed - written);
  if (result.duration > 0 && hasMic_ && options_.prefs.systemAudio) {
    try {
      AudioFlattener::flatten(path_);
    } catch (const std::exception& error) {
      warnings_ << QStringLiteral("The two audio tracks were kept apart: %1").arg(error.what());
    }
  }
  recorder_.reset();
  return result;
}

}  // namespace vorn
