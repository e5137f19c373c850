// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace vorn::test {

// A program started by a test, stopped (SIGTERM, then SIGKILL) when the object goes.
class ChildProcess {
 public:
  // Starts argv[0] (looked up in PATH). Its standard output and error go to /dev/null unless
  // `quiet` is false.
  explicit ChildProcess(const std::vector<std::string>& argv, bool quiet = true);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  pid_t pid() const { return pid_; }
  bool running();
  // Sends SIGTERM, waits up to two seconds, then SIGKILL.
  void stop();

 private:
  pid_t pid_ = -1;
};

// Runs a command to its end; returns its exit code (-1 when it could not run) and, when
// asked, its standard output.
int runCommand(const std::vector<std::string>& argv, std::string* output = nullptr);

}  // namespace vorn::test
