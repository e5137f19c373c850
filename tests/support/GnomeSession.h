// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/ChildProcess.h"

#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct sd_bus;

namespace vorn::test {

// A headless GNOME Wayland session of the test's own, as a desktop user has it: a private
// system bus (for gnome-shell's login proxy) and session bus, PipeWire with WirePlumber,
// gnome-shell on one 1920 × 1080 virtual monitor, and the desktop portal with its GNOME
// backend, started by the session bus when first asked. While it lives, WAYLAND_DISPLAY,
// XDG_SESSION_TYPE, XDG_CURRENT_DESKTOP and the bus addresses point at it.
class GnomeSession {
 public:
  static constexpr int width = 1920;
  static constexpr int height = 1080;

  // Throws std::runtime_error when a part does not start.
  GnomeSession();
  ~GnomeSession();
  GnomeSession(const GnomeSession&) = delete;
  GnomeSession& operator=(const GnomeSession&) = delete;

  // The program this machine lacks to run one, if any.
  static std::optional<std::string> missingProgram();
  // Ends gnome-shell: the desktop session is over.
  void endShell();

 private:
  void startShell();
  static bool answersRemoteDesktop();
  std::vector<std::unique_ptr<ChildProcess>> processes_;  // started in order, stopped in reverse
};

// A person's keyboard and mouse, given through mutter's RemoteDesktop.
class MutterInput {
 public:
  MutterInput();
  ~MutterInput();
  MutterInput(const MutterInput&) = delete;
  MutterInput& operator=(const MutterInput&) = delete;

  void key(uint32_t keysym);
  // Puts the pointer at (x, y) of the monitor.
  void moveTo(double x, double y);
  // Moves the pointer by (dx, dy), as a hand does.
  void moveBy(double dx, double dy);
  void click();
  // The left button held down and let go, for a drag between the two.
  void press();
  void release();

 private:
  void call(const char* method, const char* signature, ...);
  sd_bus* bus_ = nullptr;
  std::string session_;
};

// Answers GNOME's "Screen Share" dialog as a person would: picks the first monitor (with
// "Remember this selection" left on) and presses Share. Harmless when no dialog is up.
void passShareDialog(MutterInput& input);
// Presses the dialog's Cancel.
void cancelShareDialog(MutterInput& input);

// Runs `ask` (which shows the portal's dialog and waits for it) while giving the dialog
// `answer` every few seconds, as a person would once it shows; returns what `ask` returned.
template <class Ask>
auto whileAnswering(Ask ask, void (*answer)(MutterInput&) = passShareDialog) {
  auto asked = std::async(std::launch::async, std::move(ask));
  MutterInput input;
  // The dialog takes a while to show on a busy machine.
  for (int attempt = 0; attempt < 10 && asked.wait_for(std::chrono::seconds(3)) != std::future_status::ready;
       ++attempt)
    answer(input);
  return asked.get();
}

}  // namespace vorn::test
