// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/KdeShortcuts.h"

#include "support/Eventually.h"
#include "support/TestServices.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace vorn::test {
namespace {

const char* const kKdePortal = "/usr/lib/x86_64-linux-gnu/libexec/xdg-desktop-portal-kde";
const char* const kPortal = "/usr/libexec/xdg-desktop-portal";

struct Bus {
  sd_bus* bus = nullptr;
  Bus() {
    if (sd_bus_open_user(&bus) < 0) throw std::runtime_error("no session bus");
  }
  ~Bus() { sd_bus_flush_close_unref(bus); }
};

void startAndWait(std::vector<std::unique_ptr<ChildProcess>>& processes, std::vector<std::string> argv,
                  const char* name) {
  processes.push_back(std::make_unique<ChildProcess>(argv));
  if (!eventually([name] { return ownedOnSessionBus(name); }, 30))
    throw std::runtime_error(argv.back() + " did not take " + name + " on the bus");
}

// kglobalaccel's object path for the component whose name ends in `component`.
std::optional<std::string> componentPath(sd_bus* bus, const std::string& component) {
  sd_bus_message* reply = nullptr;
  if (sd_bus_call_method(bus, "org.kde.kglobalaccel", "/kglobalaccel", "org.kde.KGlobalAccel", "allComponents",
                         nullptr, &reply, "") < 0)
    return std::nullopt;
  std::optional<std::string> found;
  if (sd_bus_message_enter_container(reply, 'a', "o") >= 0) {
    const char* path = nullptr;
    while (sd_bus_message_read(reply, "o", &path) > 0) {
      const std::string candidate = path;
      if (candidate.size() >= component.size() &&
          candidate.compare(candidate.size() - component.size(), component.size(), component) == 0)
        found = candidate;
    }
  }
  sd_bus_message_unref(reply);
  return found;
}

}  // namespace

std::optional<std::string> KdeShortcuts::missingProgram() {
  for (const char* program : {kKdePortal, kPortal, "/usr/bin/kglobalaccel5"})
    if (access(program, X_OK) != 0) return std::string(program);
  return std::nullopt;
}

KdeShortcuts::KdeShortcuts() {
  if (!sessionBus()) throw std::runtime_error("the test has no session bus of its own");
  // Only KDE's backend: the portal would otherwise start every installed one that offers
  // settings.
  const std::string portals = tempHome()->path() + "/kde-portals";
  std::filesystem::create_directories(portals);
  std::filesystem::remove(portals + "/kde.portal");
  std::filesystem::create_symlink("/usr/share/xdg-desktop-portal/portals/kde.portal", portals + "/kde.portal");
  setenv("XDG_CURRENT_DESKTOP", "KDE", 1);
  setenv("XDG_DESKTOP_PORTAL_DIR", portals.c_str(), 1);
  startAndWait(processes_, {"env", "QT_QPA_PLATFORM=offscreen", "kglobalaccel5"}, "org.kde.kglobalaccel");
  startAndWait(processes_, {"env", "QT_QPA_PLATFORM=offscreen", kKdePortal}, "org.freedesktop.impl.portal.desktop.kde");
  startAndWait(processes_, {kPortal}, "org.freedesktop.portal.Desktop");
}

KdeShortcuts::~KdeShortcuts() {
  while (!processes_.empty()) processes_.pop_back();
  unsetenv("XDG_DESKTOP_PORTAL_DIR");
  unsetenv("XDG_CURRENT_DESKTOP");
}

bool KdeShortcuts::press(const std::string& component, const std::string& shortcut) {
  Bus bus;
  const std::optional<std::string> path = componentPath(bus.bus, component);
  if (!path) return false;
  return sd_bus_call_method(bus.bus, "org.kde.kglobalaccel", path->c_str(), "org.kde.kglobalaccel.Component",
                            "invokeShortcut", nullptr, nullptr, "ss", shortcut.c_str(), "default") >= 0;
}

}  // namespace vorn::test
