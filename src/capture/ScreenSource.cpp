// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/ScreenSource.h"

#include "base/Clock.h"
#include "base/Log.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace vorn {
namespace {

std::string describe(const Rect& r) {
  char text[128];
  std::snprintf(text, sizeof text, "(%g, %g, %g, %g)", r.x, r.y, r.width, r.height);
  return text;
}

const DisplayInfo* pickDisplay(const std::vector<DisplayInfo>& displays, uint32_t displayID) {
  for (const DisplayInfo& display : displays)
    if (display.id == displayID) return &display;
  return displays.empty() ? nullptr : &displays.front();
}

}  // namespace

ScreenSource::ScreenSource(std::unique_ptr<ScreenBackend> backend)
    : since_(mediaTime()), backend_(std::move(backend)) {}

ScreenSource::~ScreenSource() { stop(); }

std::vector<DisplayInfo> ScreenSource::displays() { return backend_->displays(); }

std::optional<std::string> ScreenSource::unavailable() const { return backend_->unavailable(); }

QImage ScreenSource::screenshot(const DisplayInfo& display, double scale) {
  const QImage full = backend_->screenshot(display);
  if (full.isNull()) return {};
  return full.scaled(std::max(1, int(full.width() * scale)), std::max(1, int(full.height() * scale)),
                     Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

void ScreenSource::start(uint32_t displayID) {
  std::exception_ptr failure;
  configQueue_.sync([&] {
    try {
      startOnConfigQueue(displayID);
    } catch (...) {
      failure = std::current_exception();
    }
  });
  if (failure) std::rethrow_exception(failure);
}

void ScreenSource::startOnConfigQueue(uint32_t displayID) {
  if (running_) {
    running_ = false;
    backend_->stop();
  }
  const std::vector<DisplayInfo> all = backend_->displays();
  const DisplayInfo* display = pickDisplay(all, displayID);
  if (!display) throw std::runtime_error("No display to capture");

  ++generation_;
  pending_.set(false);  // a change in flight belonged to the old capture
  const Size size = display->rect.size();
  displaySize_.set(size);
  nativeScale_.store(display->scale);
  const Rect whole{0, 0, size.width, size.height};
  // One pixel per point to begin with.
  const ScreenConfig config{whole, int(size.width), int(size.height)};
  requested.set(CaptureRequest{whole, false});

  ScreenSinks sinks;
  sinks.onFrame = [this](FrameRef buffer, const ScreenConfig& grabbed, double at) {
    handleFrame(std::move(buffer), grabbed, at);
    answered(at);
  };
  sinks.onUnchanged = [this](double at) {
    unchangedAt_.store(at);
    answered(at);
  };
  sinks.onFailing = [this](const std::string& why) {
    logError("screen stopped updating: " + why);
    if (onFailing) onFailing(why);
  };
  sinks.onStopped = [this](const std::string& why) {
    logError("screen stream stopped: " + why);
    if (onStopped) onStopped(why);
  };
  sinks.onPointer = [this](const PointerState& state) { pointer.set(state); };
  backend_->start(*display, config, own_, std::move(sinks));
  leavesOut_.store(backend_->leavesOutOwnWindows());
  running_ = true;
  config_ = config;
  displayID_.store(display->id);
}

void ScreenSource::stop() {
  configQueue_.sync([this] {
    if (!running_) return;
    running_ = false;
    backend_->stop();
  });
}

void ScreenSource::request(Rect rect, bool native) {
  // One change in flight at a time; the render loop asks again on a later tick.
  const double now = mediaTime();
  if (!pending_.testAndSet(false, true)) {
    if (now - pendingSince_.load() < unansweredSeconds) return;
    logError("capture area change got no answer; asking again");
  }
  pendingSince_.store(now);
  configQueue_.async([this, rect, native] { reconfigure(rect, native); });
}

void ScreenSource::reconfigure(Rect rect, bool native) {
  const Size display = displaySize_.get();
  if (!running_ || display.width <= 0) {
    pending_.set(false);
    return;
  }
  const double scale = native ? nativeScale_.load() : 1.0;
  Rect area = rect.intersected({0, 0, display.width, display.height});
  const int width = int(scale * area.width);
  const int height = int(scale * area.height);
  if (width <= 0 || height <= 0) {  // nothing of the display left to show
    pending_.set(false);
    return;
  }

  // Whole pixels, then back inside the display.
  area.width = width / scale;
  area.height = height / scale;
  if (area.maxX() > display.width) area.x = display.width - area.width;
  if (area.maxY() > display.height) area.y = display.height - area.height;

  config_.sourceRect = area;
  config_.width = width;
  config_.height = height;
  const Change change{area, width, height, native, generation_, ++serial_};
  backend_->update(config_, [this, change](std::optional<std::string> error) {
    finishReconfigure(std::move(error), change);
  });
}

// Runs on a backend thread.
void ScreenSource::finishReconfigure(std::optional<std::string> error, const Change& change) {
  configQueue_.async([this, error, change] {
    // A change made for a capture that has since been restarted, or overtaken by a newer
    // one, is not in force.
    if (change.generation != generation_ || change.serial != serial_) return;
    const std::string line = "capture area " + describe(change.area) + " " +
                             std::to_string(change.width) + "x" + std::to_string(change.height);
    if (!error)
      debugLine("Vorn: " + line);
    else if (running_)  // a stopped capture fails what it still had in hand: no news
      logError(line + " failed: " + *error);
    if (!error) requested.set(CaptureRequest{change.area, change.native});
    pending_.set(false);
  });
}

// Runs on the backend's frame thread.
void ScreenSource::handleFrame(FrameRef buffer, const ScreenConfig& grabbed, double at) {
  if (!buffer) return;
  if (debugEnabled()) countFrame(*buffer);
  latest.set(ScreenFrame{std::move(buffer), grabbed.sourceRect, at});
}

void ScreenSource::answered(double at) {
  {
    std::lock_guard lock(grabMutex_);
    answeredAt_ = std::max(answeredAt_, at);
  }
  grabbed_.notify_all();
}

bool ScreenSource::waitForGrab(double tick, double deadline) const {
  using namespace std::chrono;
  // Ticks are computed alike on both sides; the margin only absorbs rounding.
  const auto ready = [&] { return answeredAt_ >= tick - 0.001; };
  const auto until = steady_clock::time_point(
      duration_cast<steady_clock::duration>(duration<double>(deadline)));
  std::unique_lock lock(grabMutex_);
  return grabbed_.wait_until(lock, until, ready);
}

std::optional<ScreenFrame> ScreenSource::current(double notAfter) const {
  // Read before the frame: a look that came after a newer frame can't stamp an older one.
  const double unchanged = unchangedAt_.load();
  std::optional<ScreenFrame> frame = latest.get();
  if (frame) frame->at = std::max(frame->at, std::min(unchanged, notAfter));
  return frame;
}

void ScreenSource::countFrame(const FrameBuffer& buffer) {
  ++count_;
  const double now = mediaTime();
  const double elapsed = now - since_;
  if (elapsed < 2.0) return;
  char text[96];
  std::snprintf(text, sizeof text, "Vorn capture: %.1f fps %dx%d", count_ / elapsed,
                buffer.width(), buffer.height());
  logLine(text);
  count_ = 0;
  since_ = now;
}

}  // namespace vorn
