// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/TestServices.h"

#include "support/GnomeSession.h"

#include <cstdio>
#include <chrono>
#include <functional>
#include <cstdlib>
#include <filesystem>
#include <poll.h>
#include <systemd/sd-bus.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <xcb/xcb.h>

namespace vorn::test {
namespace {

std::unique_ptr<TempHome> gHome;
std::unique_ptr<XServer> gX;
std::unique_ptr<WindowManager> gWm;
std::unique_ptr<ChildProcess> gCompositor;
std::unique_ptr<PulseServer> gPulse;
std::unique_ptr<SessionBus> gBus;
std::unique_ptr<GnomeSession> gGnome;
std::string gGnomeMissing;

bool waitFor(const std::function<bool()>& ready, std::chrono::milliseconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < deadline) {
    if (ready()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return ready();
}

}  // namespace

TempHome::TempHome() {
  char pattern[] = "/tmp/vorn-test-XXXXXX";
  if (!mkdtemp(pattern)) throw std::runtime_error("cannot make a temporary home");
  path_ = pattern;
  for (const char* dir : {"config", "data", "cache", "runtime", "Videos"})
    std::filesystem::create_directories(path_ + "/" + dir);
  std::filesystem::permissions(path_ + "/runtime", std::filesystem::perms::owner_all);
  setenv("HOME", path_.c_str(), 1);
  setenv("XDG_CONFIG_HOME", (path_ + "/config").c_str(), 1);
  setenv("XDG_DATA_HOME", (path_ + "/data").c_str(), 1);
  setenv("XDG_CACHE_HOME", (path_ + "/cache").c_str(), 1);
  setenv("XDG_STATE_HOME", (path_ + "/state").c_str(), 1);
  setenv("XDG_RUNTIME_DIR", (path_ + "/runtime").c_str(), 1);
}

TempHome::~TempHome() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

bool compositorRuns() {
  xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
  xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
      connection, xcb_intern_atom(connection, 0, 13, "_NET_WM_CM_S0"), nullptr);
  xcb_get_selection_owner_reply_t* owner = xcb_get_selection_owner_reply(
      connection, xcb_get_selection_owner(connection, atom ? atom->atom : 0), nullptr);
  const bool running = owner && owner->owner != XCB_WINDOW_NONE;
  free(owner);
  free(atom);
  xcb_disconnect(connection);
  return running;
}

pid_t XServer::pid() const { return process_->pid(); }

XServer::XServer(int width, int height, std::vector<std::string> options) {
  int fds[2];
  if (pipe(fds) != 0) throw std::runtime_error("cannot make a pipe for Xvfb");
  // Xvfb picks a free display number itself and writes it to the descriptor.
  std::vector<std::string> argv{"Xvfb", "-displayfd", std::to_string(fds[1]), "-screen", "0",
                                std::to_string(width) + "x" + std::to_string(height) + "x24",
                                "-nolisten", "tcp", "-ac"};
  argv.insert(argv.end(), options.begin(), options.end());
  process_ = std::make_unique<ChildProcess>(argv);
  close(fds[1]);
  std::string number;
  pollfd p{fds[0], POLLIN, 0};
  char c;
  while (poll(&p, 1, 10000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') number.push_back(c);
  close(fds[0]);
  if (number.empty()) throw std::runtime_error("Xvfb did not start");
  display_ = ":" + number;
  setenv("DISPLAY", display_.c_str(), 1);
  // An X session, whatever desktop the tests were started from.
  setenv("XDG_SESSION_TYPE", "x11", 1);
  unsetenv("WAYLAND_DISPLAY");
}

WindowManager::WindowManager() {
  // Ready once it has published its whole state on the root window: it announces itself
  // first and sets up the rest after, and a window mapped in between may never be exposed.
  const auto published = [] {
    std::string out;
    return runCommand({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK", "_NET_CLIENT_LIST_STACKING", "_NET_WORKAREA"},
                      &out) == 0 &&
           out.find("window id") != std::string::npos && out.find("not found") == std::string::npos &&
           out.find("no such atom") == std::string::npos;
  };
  // On a machine busy with other tests openbox has been seen to give up at start: it is
  // started again rather than failing the whole program.
  for (int attempt = 0; attempt < 3; ++attempt) {
    process_ = std::make_unique<ChildProcess>(std::vector<std::string>{"openbox", "--sm-disable"});
    waitFor([&] { return published() || !process_->running(); }, std::chrono::seconds(60));
    if (published()) return;
  }
  throw std::runtime_error("openbox did not start");
}

PulseServer::PulseServer(const std::string& runtimeDir) {
  const std::string dir = runtimeDir + "/pulse";
  std::filesystem::create_directories(dir);
  const std::string socket = dir + "/native";
  server_ = "unix:" + socket;
  process_ = std::make_unique<ChildProcess>(std::vector<std::string>{
      "pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
      "--disallow-exit", "-L", "module-native-protocol-unix socket=" + socket, "-L",
      "module-null-sink sink_name=vsink rate=48000", "-L", "module-always-sink"});
  setenv("PULSE_SERVER", server_.c_str(), 1);
  const bool up = waitFor([this] { return pactl({"info"}) == 0; }, std::chrono::seconds(15));
  if (!up) throw std::runtime_error("PulseAudio did not start");
  pactl({"set-default-sink", "vsink"});
}

// A session bus that starts no service of the machine's on demand (a file manager, a
// notification daemon the desktop installed): the tests meet only the services they start.
const char* const kBusConfig = R"(<busconfig>
  <type>session</type>
  <listen>unix:tmpdir=/tmp</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

pid_t sessionBusOwner(const char* name) {
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0) return 0;
  sd_bus_message* reply = nullptr;
  uint32_t pid = 0;
  if (sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                         "GetConnectionUnixProcessID", nullptr, &reply, "s", name) >= 0)
    sd_bus_message_read(reply, "u", &pid);
  sd_bus_message_unref(reply);
  sd_bus_flush_close_unref(bus);
  return pid_t(pid);
}

bool ownedOnSessionBus(const char* name) { return sessionBusOwner(name) != 0; }

SessionBus::SessionBus() {
  const std::string config = tempHome()->path() + "/session-bus.conf";
  if (FILE* file = std::fopen(config.c_str(), "w")) {
    std::fputs(kBusConfig, file);
    std::fclose(file);
  }
  int fds[2];
  if (pipe(fds) != 0) throw std::runtime_error("cannot make a pipe for dbus-daemon");
  // The daemon writes its address to the descriptor once it listens.
  process_ = std::make_unique<ChildProcess>(std::vector<std::string>{
      "dbus-daemon", "--config-file=" + config, "--nofork", "--nopidfile",
      "--print-address=" + std::to_string(fds[1])});
  close(fds[1]);
  pollfd p{fds[0], POLLIN, 0};
  char c;
  while (poll(&p, 1, 10000) > 0 && read(fds[0], &c, 1) == 1 && c != '\n') address_.push_back(c);
  close(fds[0]);
  if (address_.empty()) throw std::runtime_error("dbus-daemon did not start");
  setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
}

int PulseServer::pactl(const std::vector<std::string>& args, std::string* output) const {
  std::vector<std::string> argv{"pactl", "--server=" + server_};
  argv.insert(argv.end(), args.begin(), args.end());
  return runCommand(argv, output);
}

TempHome* tempHome() { return gHome.get(); }
XServer* xServer() { return gX.get(); }
PulseServer* pulseServer() { return gPulse.get(); }
SessionBus* sessionBus() { return gBus.get(); }
GnomeSession* gnomeSession() { return gGnome.get(); }
const std::string& gnomeMissing() { return gGnomeMissing; }

// xcompmgr, once it owns the compositing manager selection.
std::unique_ptr<ChildProcess> startCompositor() {
  auto compositor = std::make_unique<ChildProcess>(std::vector<std::string>{"xcompmgr"});
  if (!waitFor(compositorRuns, std::chrono::seconds(15)))
    throw std::runtime_error("xcompmgr did not start");
  return compositor;
}

void startServices(bool needsX, bool needsPulse, bool needsWindowManager, bool needsBus, bool needsGnome) {
  gHome = std::make_unique<TempHome>();
  if (needsGnome) {
    if (const auto missing = GnomeSession::missingProgram())
      gGnomeMissing = "this machine has no " + *missing + " to run a GNOME session with";
    else
      gGnome = std::make_unique<GnomeSession>();
  }
  if (needsBus) gBus = std::make_unique<SessionBus>();
  // The same tests, on a server whose takes cannot leave Vorn's windows out.
  std::vector<std::string> options;
  if (std::getenv("VORN_TEST_WITHOUT_COMPOSITE")) options = {"-extension", "Composite"};
  if (needsX || needsWindowManager) gX = std::make_unique<XServer>(1920, 1080, options);
  if (needsWindowManager) gWm = std::make_unique<WindowManager>();
  // The same tests with a compositing manager blending the overlays.
  if (needsWindowManager && std::getenv("VORN_TEST_COMPOSITOR")) gCompositor = startCompositor();
  if (needsPulse) gPulse = std::make_unique<PulseServer>(gHome->path() + "/runtime");
}

void stopServices() {
  gGnome.reset();
  gPulse.reset();
  gBus.reset();
  gCompositor.reset();
  gWm.reset();
  gX.reset();
  gHome.reset();
}

}  // namespace vorn::test
