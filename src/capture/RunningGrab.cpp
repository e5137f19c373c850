// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/RunningGrab.h"

#include "capture/GrabLoop.h"

namespace vorn {

RunningGrab::RunningGrab() = default;
RunningGrab::~RunningGrab() = default;

void RunningGrab::start(std::unique_ptr<Grabber> grabber, const ScreenConfig& config,
                        ScreenSinks sinks) {
  stop();
  grabber_ = std::move(grabber);
  loop_ = std::make_unique<GrabLoop>(*grabber_, config, std::move(sinks));
}

void RunningGrab::stop() {
  loop_.reset();
  grabber_.reset();
}

void RunningGrab::update(const ScreenConfig& config, ScreenBackend::Completion done) {
  if (!loop_) {
    if (done) done("The capture is not running.");
    return;
  }
  loop_->update(config, std::move(done));
}

}  // namespace vorn
