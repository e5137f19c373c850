// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

struct sd_bus;

namespace vorn {

// The user declined to share a screen in the portal's dialog.
class SharingRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What the portal shared: one PipeWire node and the part of the desktop it shows.
struct SharedSource {
  uint32_t node = 0;
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  // A single window rather than a whole monitor: nothing else can be in its pictures.
  bool window = false;
};

// One screen-cast session of the desktop portal (org.freedesktop.portal.ScreenCast) on the
// session bus. Opening it may show the desktop's sharing dialog and blocks until the user
// answers; a restore token from an earlier session skips the dialog. The session lives, and
// its PipeWire node with it, until this object goes.
class PortalSession {
 public:
  // Throws SharingRefused when the user declines, std::runtime_error with one sentence for
  // anything else (no portal, no session bus, a failed request).
  static std::unique_ptr<PortalSession> open(const std::string& restoreToken);
  ~PortalSession();
  PortalSession(const PortalSession&) = delete;
  PortalSession& operator=(const PortalSession&) = delete;

  const SharedSource& source() const { return source_; }
  // What to pass next time to share the same source without asking; empty when the portal
  // gave none.
  const std::string& restoreToken() const { return restoreToken_; }
  // A new connection to the PipeWire server that serves the shared node; the caller owns the
  // descriptor. Throws std::runtime_error with one sentence.
  int openPipeWireRemote();

  // A request's answer, as the portal signals it.
  struct Reply;
  // One entry of a request's a{sv} options: a number ('u', 'b') or a text ('s').
  struct Option {
    const char* key;
    char type;
    uint32_t number = 0;
    std::string text;
  };

 private:
  PortalSession() = default;
  std::vector<Option> sourceOptions(const std::string& restoreToken) const;
  void await(const Reply& reply);
  // Calls `method` (on the session, once there is one) with `options` and waits for its answer.
  Reply request(const char* method, const char* token, std::vector<Option> options = {});

  sd_bus* bus_ = nullptr;
  std::string sender_;  // our unique name as the portal writes it in request paths
  std::string handle_;
  uint32_t cursorModes_ = 0;
  uint32_t version_ = 0;
  SharedSource source_;
  std::string restoreToken_;
};

}  // namespace vorn
