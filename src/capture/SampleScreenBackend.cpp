// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/SampleScreenBackend.h"

#include "base/Clock.h"
#include "base/Log.h"
#include "base/MovieDecoder.h"
#include "capture/GrabLoop.h"
#include "capture/ScreenPixels.h"

#include <algorithm>
#include <cmath>

namespace vorn {
namespace {

// A picture larger than the largest common display is served scaled down to it: a sample of
// 8000 × 8000 would otherwise hold a quarter of a gigabyte in every frame of the pipeline.
constexpr int kLongestSide = 3840;

Size servedSize(const MovieDecoder& decoder) {
  const double scale = std::min(1.0, double(kLongestSide) / std::max(decoder.width(), decoder.height()));
  return {std::max(1.0, std::round(decoder.width() * scale)),
          std::max(1.0, std::round(decoder.height() * scale))};
}

}  // namespace

// Serves the decoded pictures as a display: crops and scales the configured area out of them.
class SampleGrabber : public Grabber {
 public:
  explicit SampleGrabber(const std::string& path)
      : decoder_(path),
        picture_(int(servedSize(decoder_).width), int(servedSize(decoder_).height)) {
    show();
  }

  Result grab(const ScreenConfig& config, bool changed) override {
    const double now = mediaTime();
    if (started_ < 0) started_ = now;
    const bool advanced = advance(now - started_);
    if (!changed && !advanced) return {};
    const int left = int(config.sourceRect.x), top = int(config.sourceRect.y);
    const int width = int(config.sourceRect.width), height = int(config.sourceRect.height);
    if (left < 0 || top < 0 || width <= 0 || height <= 0 || left + width > picture_.width() ||
        top + height > picture_.height() || config.width <= 0 || config.height <= 0)
      return Result::unsupported("The capture area lies outside the display.");
    if (!pool_ || pool_->width() != config.width || pool_->height() != config.height)
      pool_ = std::make_unique<FramePool>(config.width, config.height, 2, 8);
    FrameRef frame = pool_->take();
    if (!frame) return Result::skip();
    convertToFrame(picture_.row(top) + left * 4, picture_.stride(), width, height, *frame);
    return Result::of(std::move(frame));
  }

 private:
  // Decodes up to the picture due at `elapsed` seconds; true when the picture changed.
  bool advance(double elapsed) {
    if (decoder_.still()) return false;
    bool advanced = false;
    // A few pictures at most per tick: a slow machine skips ahead instead of falling behind.
    for (int i = 0; i < 4 && decoder_.time() + 1e-3 < elapsed; ++i) {
      if (!decoder_.decodeNext() || decoder_.still()) break;
      advanced = true;
    }
    if (advanced) show();
    return advanced;
  }

  void show() {
    decoder_.copyTo(picture_);
    makeOpaque(picture_.data(), picture_.stride(), picture_.width(), picture_.height());
  }

  MovieDecoder decoder_;
  FrameBuffer picture_;
  std::unique_ptr<FramePool> pool_;
  double started_ = -1;
};

SampleScreenBackend::SampleScreenBackend(std::string path) : path_(std::move(path)) {}

SampleScreenBackend::~SampleScreenBackend() { stop(); }

std::vector<DisplayInfo> SampleScreenBackend::displays() {
  try {
    const Size size = servedSize(MovieDecoder(path_));
    return {{1, "Sample", Rect{0, 0, size.width, size.height}, 1.0}};
  } catch (const std::exception& error) {
    logError(std::string("sample screen: ") + error.what());
    return {};
  }
}

void SampleScreenBackend::start(const DisplayInfo&, const ScreenConfig& config,
                                OwnClient, ScreenSinks sinks) {
  stop();
  running_.start(std::make_unique<SampleGrabber>(path_), config, std::move(sinks));
}

void SampleScreenBackend::stop() { running_.stop(); }

QImage SampleScreenBackend::screenshot(const DisplayInfo&) { return QImage(QString::fromStdString(path_)); }

void SampleScreenBackend::update(const ScreenConfig& config, Completion done) {
  running_.update(config, std::move(done));
}

}  // namespace vorn
