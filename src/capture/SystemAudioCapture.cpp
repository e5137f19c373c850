// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/SystemAudioCapture.h"

#include "base/Log.h"

namespace vorn {

SystemAudioCapture::SystemAudioCapture(SoundServer& sound, std::function<void(AudioRef)> sink)
    : sink_(std::move(sink)), recorder_(sound.makeInput(queue_, [this](AudioRef buffer) {
        if (sink_) sink_(std::move(buffer));
      })) {}

SystemAudioCapture::~SystemAudioCapture() { recorder_->close(); }

void SystemAudioCapture::setEnabled(bool on) {
  std::lock_guard guard(mutex_);
  if (on == enabled_) return;
  if (!on) {
    recorder_->close();
    enabled_ = false;
    return;
  }
  std::string error;
  if (!recorder_->open(AudioInputFormat::systemAudio(), &error)) {
    logError("system audio unavailable: " + error);
    return;
  }
  enabled_ = true;
}

bool SystemAudioCapture::enabled() const {
  std::lock_guard guard(mutex_);
  return enabled_;
}

}  // namespace vorn
