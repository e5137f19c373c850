// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "support/TestServices.h"

namespace vorn::test {

// A microphone on the private server fed through a FIFO: 48 kHz mono float32.
class PipeMicrophone {
 public:
  explicit PipeMicrophone(const std::string& name)
      : name_(name), fifo_(tempHome()->path() + "/" + name + ".fifo") {
    std::string output;
    pulseServer()->pactl({"load-module", "module-pipe-source", "source_name=" + name,
                          "file=" + fifo_, "format=float32le", "rate=48000", "channels=1"},
                         &output);
    module_ = output.substr(0, output.find_first_of("\r\n"));
    fd_ = ::open(fifo_.c_str(), O_WRONLY);
  }
  ~PipeMicrophone() {
    if (fd_ >= 0) ::close(fd_);
    if (!module_.empty()) pulseServer()->pactl({"unload-module", module_});
  }
  bool ok() const { return fd_ >= 0 && !module_.empty(); }

  // Writes samples as they stand; false when the source is gone.
  bool write(const std::vector<float>& samples) {
    return ::write(fd_, samples.data(), samples.size() * sizeof(float)) ==
           ssize_t(samples.size() * sizeof(float));
  }

  // Writes `seconds` of a sine (amplitude 0 writes digital zeros) in 10 ms pieces at about
  // the pace a real microphone would deliver them.
  void play(double seconds, double amplitude) {
    const int pieces = int(std::lround(seconds * 100));
    auto next = std::chrono::steady_clock::now();
    std::vector<float> piece(480);
    for (int p = 0; p < pieces; ++p) {
      for (int i = 0; i < 480; ++i)
        piece[size_t(i)] = float(amplitude * std::sin(2 * M_PI * 440 * (sample_ + i) / 48000.0));
      sample_ += 480;
      if (::write(fd_, piece.data(), piece.size() * sizeof(float)) < 0) return;
      next += std::chrono::milliseconds(10);
      std::this_thread::sleep_until(next);
    }
  }

 private:
  std::string name_;
  std::string fifo_;
  std::string module_;
  int fd_ = -1;
  long sample_ = 0;
};

}  // namespace vorn::test
