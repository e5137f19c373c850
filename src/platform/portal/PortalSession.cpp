// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/portal/PortalSession.h"

#include <QtGlobal>

#include <systemd/sd-bus.h>

#include <chrono>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <vector>

namespace vorn {
namespace {

constexpr const char* kPortal = "org.freedesktop.portal.Desktop";
constexpr const char* kPortalPath = "/org/freedesktop/portal/desktop";
constexpr const char* kScreenCast = "org.freedesktop.portal.ScreenCast";
// A person may take their time in the sharing dialog; past this the request is given up.
constexpr auto kAnswerLimit = std::chrono::minutes(15);

enum SourceType : uint32_t { kMonitor = 1, kWindow = 2 };
enum CursorMode : uint32_t { kCursorHidden = 1, kCursorEmbedded = 2, kCursorMetadata = 4 };

class BusError {
 public:
  ~BusError() { sd_bus_error_free(&error_); }
  sd_bus_error* get() { return &error_; }
  std::string sentence(std::string_view doing) const {
    if (sd_bus_error_has_name(&error_, SD_BUS_ERROR_SERVICE_UNKNOWN))
      return QT_TRANSLATE_NOOP("Platform", "The desktop's screen-sharing service (xdg-desktop-portal) is not running.");
    std::string text = "The screen-sharing portal failed while " + std::string(doing);
    if (error_.message) text += ": " + std::string(error_.message);
    return text + ".";
  }

 private:
  sd_bus_error error_ = SD_BUS_ERROR_NULL;
};

int appendOption(sd_bus_message* m, const PortalSession::Option& option) {
  const char signature[2] = {option.type, 0};
  int r = sd_bus_message_open_container(m, 'e', "sv");
  if (r >= 0) r = sd_bus_message_append_basic(m, 's', option.key);
  if (r >= 0) r = sd_bus_message_open_container(m, 'v', signature);
  if (r >= 0 && option.type == 's') r = sd_bus_message_append_basic(m, 's', option.text.c_str());
  if (r >= 0 && option.type == 'u') r = sd_bus_message_append_basic(m, 'u', &option.number);
  const int flag = option.number != 0;
  if (r >= 0 && option.type == 'b') r = sd_bus_message_append_basic(m, 'b', &flag);
  if (r >= 0) r = sd_bus_message_close_container(m);
  if (r >= 0) r = sd_bus_message_close_container(m);
  return r;
}

int appendOptions(sd_bus_message* m, const std::vector<PortalSession::Option>& options) {
  int r = sd_bus_message_open_container(m, 'a', "{sv}");
  for (const PortalSession::Option& option : options)
    if (r >= 0) r = appendOption(m, option);
  return r >= 0 ? sd_bus_message_close_container(m) : r;
}

// Reads a variant holding one text (a string or an object path).
int readText(sd_bus_message* m, std::string& out) {
  char type = 0;
  const char* contents = nullptr;
  int r = sd_bus_message_peek_type(m, &type, &contents);
  if (r < 0 || !contents || (contents[0] != 's' && contents[0] != 'o')) return sd_bus_message_skip(m, "v");
  const char* text = nullptr;
  r = sd_bus_message_enter_container(m, 'v', contents);
  if (r >= 0) r = sd_bus_message_read_basic(m, contents[0], &text);
  if (r >= 0 && text) out = text;
  return r >= 0 ? sd_bus_message_exit_container(m) : r;
}

// Reads an a{sv} dictionary, handing each key to `read`, which reads (or skips) its value and
// returns what sd-bus returned.
template <class Read>
int readDictionary(sd_bus_message* m, Read read) {
  int r = sd_bus_message_enter_container(m, 'a', "{sv}");
  while (r >= 0 && (r = sd_bus_message_enter_container(m, 'e', "sv")) > 0) {
    const char* key = nullptr;
    r = sd_bus_message_read_basic(m, 's', &key);
    if (r >= 0) r = read(std::string_view(key ? key : ""));
    if (r >= 0) r = sd_bus_message_exit_container(m);
  }
  return r >= 0 ? sd_bus_message_exit_container(m) : r;
}

// One stream's properties: where it lies on the desktop, its size, what it shows.
int readStreamProperties(sd_bus_message* m, SharedSource& source) {
  return readDictionary(m, [&](std::string_view name) {
    if (name == "position") return sd_bus_message_read(m, "v", "(ii)", &source.x, &source.y);
    if (name == "size") return sd_bus_message_read(m, "v", "(ii)", &source.width, &source.height);
    if (name != "source_type") return sd_bus_message_skip(m, "v");
    uint32_t type = 0;
    const int r = sd_bus_message_read(m, "v", "u", &type);
    source.window = type == kWindow;
    return r;
  });
}

// The first stream of a Start answer: a(ua{sv}).
int readStreams(sd_bus_message* m, std::optional<SharedSource>& out) {
  int r = sd_bus_message_enter_container(m, 'v', "a(ua{sv})");
  if (r >= 0) r = sd_bus_message_enter_container(m, 'a', "(ua{sv})");
  while (r >= 0 && (r = sd_bus_message_enter_container(m, 'r', "ua{sv}")) > 0) {
    SharedSource source;
    r = sd_bus_message_read_basic(m, 'u', &source.node);
    if (r >= 0) r = readStreamProperties(m, source);
    if (r >= 0) r = sd_bus_message_exit_container(m);
    if (r >= 0 && !out) out = source;
  }
  if (r >= 0) r = sd_bus_message_exit_container(m);
  return r >= 0 ? sd_bus_message_exit_container(m) : r;
}

uint32_t property(sd_bus* bus, const char* name) {
  uint32_t value = 0;
  BusError error;
  sd_bus_get_property_trivial(bus, kPortal, kPortalPath, kScreenCast, name, error.get(), 'u', &value);
  return value;
}

}  // namespace

// A Request's answer (org.freedesktop.portal.Request.Response).
struct PortalSession::Reply {
  bool answered = false;
  bool malformed = false;
  uint32_t code = 2;
  std::string sessionHandle;
  std::string restoreToken;
  std::optional<SharedSource> source;
};

namespace {

int onResponse(sd_bus_message* m, void* data, sd_bus_error*) {
  auto& reply = *static_cast<PortalSession::Reply*>(data);
  reply.answered = true;
  int r = sd_bus_message_read_basic(m, 'u', &reply.code);
  if (r >= 0)
    r = readDictionary(m, [&](std::string_view name) {
      if (name == "session_handle") return readText(m, reply.sessionHandle);
      if (name == "restore_token") return readText(m, reply.restoreToken);
      if (name == "streams") return readStreams(m, reply.source);
      return sd_bus_message_skip(m, "v");
    });
  reply.malformed = r < 0;
  return 0;
}

}  // namespace

PortalSession::Reply PortalSession::request(const char* method, const char* token,
                                            std::vector<Option> options) {
  const std::string path = std::string(kPortalPath) + "/request/" + sender_ + "/" + token;
  Reply reply;
  sd_bus_slot* slot = nullptr;
  // Listening before asking: the answer may come before the call returns.
  if (sd_bus_match_signal(bus_, &slot, nullptr, path.c_str(), "org.freedesktop.portal.Request",
                          "Response", onResponse, &reply) < 0)
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen-sharing portal cannot be listened to."));
  struct SlotGuard {
    sd_bus_slot* slot;
    ~SlotGuard() { sd_bus_slot_unref(slot); }
  } guard{slot};

  sd_bus_message* call = nullptr;
  int r = sd_bus_message_new_method_call(bus_, &call, kPortal, kPortalPath, kScreenCast, method);
  options.push_back({"handle_token", 's', 0, token});
  if (handle_.empty()) {
    options.push_back({"session_handle_token", 's', 0, "vorn"});
  } else {
    if (r >= 0) r = sd_bus_message_append_basic(call, 'o', handle_.c_str());
    // Start names the window the dialog belongs to: none.
    if (r >= 0 && std::string_view(method) == "Start") r = sd_bus_message_append_basic(call, 's', "");
  }
  if (r >= 0) r = appendOptions(call, options);
  BusError error;
  sd_bus_message* answer = nullptr;
  if (r >= 0) r = sd_bus_call(bus_, call, 0, error.get(), &answer);
  sd_bus_message_unref(call);
  sd_bus_message_unref(answer);
  if (r < 0) throw std::runtime_error(error.sentence("asking for the screen"));
  await(reply);
  if (reply.code == 1) throw SharingRefused(QT_TRANSLATE_NOOP("Platform", "Screen sharing was declined."));
  if (reply.code != 0 || reply.malformed)
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen-sharing dialog closed without sharing a screen."));
  return reply;
}

std::vector<PortalSession::Option> PortalSession::sourceOptions(const std::string& restoreToken) const {
  const uint32_t types = property(bus_, "AvailableSourceTypes") & (kMonitor | kWindow);
  const uint32_t cursor = (cursorModes_ & kCursorMetadata)   ? kCursorMetadata
                          : (cursorModes_ & kCursorEmbedded) ? kCursorEmbedded
                                                             : kCursorHidden;
  std::vector<PortalSession::Option> options{
      {"types", 'u', types ? types : kMonitor, {}}, {"multiple", 'b', 0, {}}, {"cursor_mode", 'u', cursor, {}}};
  // Remembered until the user revokes it: the dialog is shown once.
  if (version_ >= 4) {
    options.push_back({"persist_mode", 'u', 2, {}});
    if (!restoreToken.empty()) options.push_back({"restore_token", 's', 0, restoreToken});
  }
  return options;
}

// Serves the bus until the portal answers.
void PortalSession::await(const Reply& reply) {
  const auto deadline = std::chrono::steady_clock::now() + kAnswerLimit;
  while (!reply.answered) {
    const int r = sd_bus_process(bus_, nullptr);
    if (r < 0) throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The connection to the session bus broke."));
    if (r > 0) continue;
    const auto left = deadline - std::chrono::steady_clock::now();
    if (left <= std::chrono::steady_clock::duration::zero())
      throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen-sharing dialog got no answer."));
    sd_bus_wait(bus_, uint64_t(std::chrono::duration_cast<std::chrono::microseconds>(left).count()));
  }
}

std::unique_ptr<PortalSession> PortalSession::open(const std::string& restoreToken) {
  std::unique_ptr<PortalSession> session(new PortalSession);
  if (sd_bus_open_user(&session->bus_) < 0)
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "There is no session bus to reach the screen-sharing portal on."));
  const char* unique = nullptr;
  if (sd_bus_get_unique_name(session->bus_, &unique) < 0 || !unique)
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "There is no session bus to reach the screen-sharing portal on."));
  session->sender_ = unique + 1;  // ":1.42" is written "1_42"
  for (char& c : session->sender_)
    if (c == '.') c = '_';
  session->version_ = property(session->bus_, "version");
  if (session->version_ == 0)
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The desktop offers no screen-sharing portal (xdg-desktop-portal with a backend for this desktop)."));
  session->cursorModes_ = property(session->bus_, "AvailableCursorModes");

  session->handle_ = session->request("CreateSession", "vorn_create").sessionHandle;
  if (session->handle_.empty()) throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen-sharing portal gave no session."));
  session->request("SelectSources", "vorn_select", session->sourceOptions(restoreToken));
  Reply started = session->request("Start", "vorn_start");
  if (!started.source || started.source->width <= 0 || started.source->height <= 0)
    throw std::runtime_error(QT_TRANSLATE_NOOP("Platform", "The screen-sharing portal shared no screen."));
  session->source_ = *started.source;
  session->restoreToken_ = started.restoreToken;
  return session;
}

PortalSession::~PortalSession() {
  if (!bus_) return;
  if (!handle_.empty())
    sd_bus_call_method(bus_, kPortal, handle_.c_str(), "org.freedesktop.portal.Session", "Close",
                       nullptr, nullptr, "");
  sd_bus_flush_close_unref(bus_);
}

int PortalSession::openPipeWireRemote() {
  BusError error;
  sd_bus_message* answer = nullptr;
  int r = sd_bus_call_method(bus_, kPortal, kPortalPath, kScreenCast, "OpenPipeWireRemote",
                             error.get(), &answer, "oa{sv}", handle_.c_str(), 0);
  int fd = -1;
  if (r >= 0) r = sd_bus_message_read_basic(answer, 'h', &fd);
  // The descriptor belongs to the message: keep a copy of our own.
  const int copy = r >= 0 ? fcntl(fd, F_DUPFD_CLOEXEC, 3) : -1;
  sd_bus_message_unref(answer);
  if (copy < 0) throw std::runtime_error(error.sentence("opening the screen's stream"));
  return copy;
}

}  // namespace vorn
