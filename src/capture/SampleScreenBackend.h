// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/RunningGrab.h"
#include "capture/ScreenBackend.h"

#include <memory>
#include <string>

namespace vorn {


// A picture or a movie (looped) served as the one display, so that everything downstream of
// the screen source runs without a display server. Anything FFmpeg decodes will do.
class SampleScreenBackend : public ScreenBackend {
 public:
  explicit SampleScreenBackend(std::string path);
  ~SampleScreenBackend() override;

  // One display, "Sample", the size of the file's picture (scaled down to 3840 on its longest
  // side); none when the file cannot be read. Its screenshot is the file's picture.
  std::vector<DisplayInfo> displays() override;
  void start(const DisplayInfo& display, const ScreenConfig& config, OwnClient own,
             ScreenSinks sinks) override;
  bool leavesOutOwnWindows() const override { return true; };
  void stop() override;
  void update(const ScreenConfig& config, Completion done) override;
  QImage screenshot(const DisplayInfo& display) override;

 private:
  const std::string path_;
  RunningGrab running_;
};

}  // namespace vorn
