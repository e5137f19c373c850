// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/GnomeSession.h"

#include "support/Eventually.h"
#include "support/TestServices.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <cstdarg>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace vorn::test {
namespace {

constexpr uint32_t kEscape = 0xff1b;
constexpr int kLeftButton = 0x110;  // BTN_LEFT

// Starts a dbus-daemon with `config` listening at `path`; returns its address.
std::string startBus(std::vector<std::unique_ptr<ChildProcess>>& processes, const std::string& config,
                     const std::string& path) {
  const std::string address = "unix:path=" + path;
  processes.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{
      "dbus-daemon", config, "--nofork", "--nopidfile", "--address=" + address}));
  if (!eventually([&] { return std::filesystem::exists(path); }, 20))
    throw std::runtime_error("dbus-daemon did not start");
  return address;
}

bool overviewActive() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return false;
  int active = 0;
  sd_bus_get_property_trivial(bus, "org.gnome.Shell", "/org/gnome/Shell", "org.gnome.Shell", "OverviewActive",
                              nullptr, 'b', &active);
  sd_bus_flush_close_unref(bus);
  return active;
}

const char* const kShellNames[] = {"org.gnome.Mutter.RemoteDesktop", "org.gnome.Shell"};

}  // namespace

std::optional<std::string> GnomeSession::missingProgram() {
  for (const char* program : {"gnome-shell", "pipewire", "wireplumber", "/usr/libexec/xdg-desktop-portal",
                              "/usr/libexec/xdg-desktop-portal-gnome", "dbus-daemon"}) {
    const std::string name = program;
    if (name.front() == '/') {
      if (access(program, X_OK) != 0) return name;
    } else if (runCommand({"sh", "-c", "command -v " + name}) != 0) {
      return name;
    }
  }
  return std::nullopt;
}

GnomeSession::GnomeSession() {
  const char* runtime = std::getenv("XDG_RUNTIME_DIR");
  if (!runtime) throw std::runtime_error("XDG_RUNTIME_DIR is not set");
  const std::string dir = runtime;
  // What the bus hands on to the services it starts: the portal picks its backend by desktop.
  setenv("XDG_CURRENT_DESKTOP", "GNOME", 1);
  setenv("XDG_SESSION_TYPE", "wayland", 1);
  setenv("WAYLAND_DISPLAY", "wayland-0", 1);
  // GNOME's backends alone: the portal starts every installed one that offers settings, and
  // KDE's (installed for other tests) would outlive the session.
  const std::filesystem::path portals = dir + "/gnome-portals";
  std::filesystem::create_directories(portals);
  for (const auto& file : std::filesystem::directory_iterator("/usr/share/xdg-desktop-portal/portals"))
    if (file.path().filename() != "kde.portal" && !std::filesystem::exists(portals / file.path().filename()))
      std::filesystem::create_symlink(file.path(), portals / file.path().filename());
  setenv("XDG_DESKTOP_PORTAL_DIR", portals.c_str(), 1);
  unsetenv("DISPLAY");
  setenv("DBUS_SYSTEM_BUS_ADDRESS", startBus(processes_, "--session", dir + "/system_bus").c_str(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", startBus(processes_, "--session", dir + "/bus").c_str(), 1);
  processes_.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{"pipewire"}));
  if (!eventually([&] { return std::filesystem::exists(dir + "/pipewire-0"); }, 20))
    throw std::runtime_error("pipewire did not start");
  processes_.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{"wireplumber"}));
  // Now and then, on a loaded machine, a shell starts that never answers a remote-desktop
  // call, and every test would wait each call out: such a shell is started again, once.
  startShell();
  if (!answersRemoteDesktop()) {
    processes_.pop_back();
    // The next shell can only take the names once the last one's connection has let them go.
    if (!eventually([] { return !sessionBusOwner(kShellNames[0]) && !sessionBusOwner(kShellNames[1]); }, 20))
      throw std::runtime_error("a gnome-shell that did not answer still holds its names");
    startShell();
  }
  // The shell opens on its overview; a person would leave it first.
  if (eventually(overviewActive, 10)) {
    MutterInput input;
    for (int attempt = 0; attempt < 5 && overviewActive(); ++attempt) {
      input.key(kEscape);
      eventually([] { return !overviewActive(); }, 2);
    }
  }
}

void GnomeSession::startShell() {
  processes_.push_back(std::make_unique<ChildProcess>(std::vector<std::string>{
      "gnome-shell", "--headless", "--wayland", "--no-x11", "--virtual-monitor",
      std::to_string(width) + "x" + std::to_string(height)}));
  // Its own names, not those of a shell before it.
  const auto up = [shell = processes_.back()->pid()] {
    return sessionBusOwner(kShellNames[0]) == shell && sessionBusOwner(kShellNames[1]) == shell;
  };
  if (!eventually(up, 60))
    throw std::runtime_error("gnome-shell did not start");
}

bool GnomeSession::answersRemoteDesktop() {
  try {
    MutterInput probe;
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

GnomeSession::~GnomeSession() {
  while (!processes_.empty()) processes_.pop_back();
}

void GnomeSession::endShell() { processes_.back()->stop(); }  // gnome-shell, started last

MutterInput::MutterInput() {
  if (sd_bus_open_user(&bus_) < 0) throw std::runtime_error("no session bus for mutter's input");
  sd_bus_message* reply = nullptr;
  const char* path = nullptr;
  if (sd_bus_call_method(bus_, "org.gnome.Mutter.RemoteDesktop", "/org/gnome/Mutter/RemoteDesktop",
                         "org.gnome.Mutter.RemoteDesktop", "CreateSession", nullptr, &reply, "") < 0 ||
      sd_bus_message_read(reply, "o", &path) < 0) {
    sd_bus_message_unref(reply);
    throw std::runtime_error("mutter's RemoteDesktop gave no session");
  }
  session_ = path;
  sd_bus_message_unref(reply);
  call("Start", "");
}

MutterInput::~MutterInput() {
  call("Stop", "");
  sd_bus_flush_close_unref(bus_);
}

void MutterInput::call(const char* method, const char* signature, ...) {
  va_list args;
  va_start(args, signature);
  sd_bus_message* message = nullptr;
  int r = sd_bus_message_new_method_call(bus_, &message, "org.gnome.Mutter.RemoteDesktop", session_.c_str(),
                                         "org.gnome.Mutter.RemoteDesktop.Session", method);
  if (r >= 0 && *signature) r = sd_bus_message_appendv(message, signature, args);
  va_end(args);
  if (r >= 0) r = sd_bus_call(bus_, message, 0, nullptr, nullptr);
  sd_bus_message_unref(message);
  if (r < 0) throw std::runtime_error(std::string("mutter's RemoteDesktop refused ") + method);
}

void MutterInput::key(uint32_t keysym) {
  for (int pressed : {1, 0}) {
    call("NotifyKeyboardKeysym", "ub", keysym, pressed);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // a person's key press
  }
}

void MutterInput::moveTo(double x, double y) {
  // Motion is relative without a stream of our own: from the bottom-right corner, where the
  // pointer stops, and away from the top-left hot corner.
  call("NotifyPointerMotionRelative", "dd", double(2 * GnomeSession::width), double(2 * GnomeSession::height));
  call("NotifyPointerMotionRelative", "dd", x - (GnomeSession::width - 1), y - (GnomeSession::height - 1));
}

void MutterInput::moveBy(double dx, double dy) { call("NotifyPointerMotionRelative", "dd", dx, dy); }

void MutterInput::click() {
  press();
  release();
}

void MutterInput::press() {
  call("NotifyPointerButton", "ib", kLeftButton, 1);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));  // a person's press
}

void MutterInput::release() {
  call("NotifyPointerButton", "ib", kLeftButton, 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

void passShareDialog(MutterInput& input) {
  // The dialog sits centred on the monitor: the monitor's row in its list, then Share at the
  // right end of its header. Clicks, unlike keys, can be given again safely.
  input.moveTo(789, 582);
  input.click();
  input.moveTo(1172, 429);
  input.click();
}

void cancelShareDialog(MutterInput& input) {
  input.moveTo(750, 429);  // the left end of the dialog's header
  input.click();
}

}  // namespace vorn::test
