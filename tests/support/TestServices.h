// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/ChildProcess.h"

#include <memory>
#include <sys/types.h>
#include <string>
#include <vector>

namespace vorn::test {

// A fresh temporary folder as HOME and every XDG directory, removed at the end, so that no
// test touches the user's settings or videos.
class TempHome {
 public:
  TempHome();
  ~TempHome();
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// A private Xvfb display (24-bit colour); DISPLAY points at it while it lives.
// Whether a compositing manager runs on the display.
bool compositorRuns();

class XServer {
 public:
  // `options` go to Xvfb as they stand (say "-extension", "Composite").
  explicit XServer(int width = 1920, int height = 1080, std::vector<std::string> options = {});
  const std::string& display() const { return display_; }
  pid_t pid() const;

 private:
  std::string display_;
  std::unique_ptr<ChildProcess> process_;
};

// openbox on the private display: a real EWMH window manager (stacking list, frames, focus).
class WindowManager {
 public:
  WindowManager();

 private:
  std::unique_ptr<ChildProcess> process_;
};

// A private PulseAudio server with a null sink "vsink" as its default sink; PULSE_SERVER
// points at it while it lives.
class PulseServer {
 public:
  explicit PulseServer(const std::string& runtimeDir);
  const std::string& server() const { return server_; }
  // Runs pactl against this server; returns its exit code and, when asked, its output.
  int pactl(const std::vector<std::string>& args, std::string* output = nullptr) const;

 private:
  std::string server_;
  std::unique_ptr<ChildProcess> process_;
};

// A private session bus (dbus-daemon); DBUS_SESSION_BUS_ADDRESS points at it while it lives, so
// that names a test owns or calls never reach the user's own desktop.
class SessionBus {
 public:
  SessionBus();
  const std::string& address() const { return address_; }

 private:
  std::string address_;
  std::unique_ptr<ChildProcess> process_;
};

// The process that owns `name` on the session bus that DBUS_SESSION_BUS_ADDRESS names; 0 while
// nobody does.
pid_t sessionBusOwner(const char* name);
// Whether `name` has an owner there.
bool ownedOnSessionBus(const char* name);

class GnomeSession;

// The services of the running test program (null when the program did not ask for them).
TempHome* tempHome();
XServer* xServer();
PulseServer* pulseServer();
SessionBus* sessionBus();
// Null also where this machine cannot run one: gnomeMissing() then says why.
GnomeSession* gnomeSession();
const std::string& gnomeMissing();

// Set up by the test main before any test runs.
void startServices(bool needsX, bool needsPulse, bool needsWindowManager = false, bool needsBus = false,
                   bool needsGnome = false);
void stopServices();

}  // namespace vorn::test
