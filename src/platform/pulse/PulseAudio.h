// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/SerialQueue.h"
#include "capture/SoundServer.h"

struct pa_context;
struct pa_operation;
struct pa_threaded_mainloop;

namespace vorn {

// Holds the mainloop lock for its scope; the way every caller touches PulseAudio objects.
class PulseLock {
 public:
  explicit PulseLock(pa_threaded_mainloop* mainloop);
  ~PulseLock();
  PulseLock(const PulseLock&) = delete;
  PulseLock& operator=(const PulseLock&) = delete;

 private:
  pa_threaded_mainloop* mainloop_;
};

// The one connection of the process to the PulseAudio server (or PipeWire's pulse server),
// run on a threaded mainloop. It connects on first use and again on the next use after the
// server went away (and once right away when a live connection drops, so that device events
// resume after a quick server restart). A missing server is reported once per outage and never
// retried in a loop.
class PulseContext {
 public:
  using SourceListener = SoundServer::SourceListener;

  static PulseContext& shared();

  // True when a connection stands or could be made now.
  bool connected();
  // Every source, monitors included, in the server's order; empty without a server.
  std::vector<AudioSourceInfo> sources();
  std::optional<SoundServerInfo> serverInfo();

  // Sources appearing and disappearing, delivered on the "vorn.pulse" queue (never under
  // the mainloop lock). The token removes the listener again; once removeSourceListener
  // returns, the listener is no longer called.
  int addSourceListener(SourceListener listener);
  void removeSourceListener(int token);

  // For streams: the mainloop, and the ready context while the caller holds PulseLock (null
  // when no server answers).
  pa_threaded_mainloop* mainloop() const { return mainloop_; }
  pa_context* readyContext();
  // Waits under the lock until the operation ends (callbacks call signal()); unrefs it.
  void wait(pa_operation* operation);
  void signal();

 private:
  PulseContext();
  ~PulseContext() = delete;  // lives for the whole process
  bool connectLocked();
  void dropContextLocked();
  void subscribeLocked();
  void sourceAdded(const AudioSourceInfo& source, bool announce);  // mainloop thread
  void sourceRemoved(std::uint32_t index);                         // mainloop thread
  void deliver(AudioSourceEvent event, const AudioSourceInfo& source);

  friend struct PulseContextCallbacks;

  pa_threaded_mainloop* mainloop_ = nullptr;
  // Guarded by the mainloop lock.
  pa_context* context_ = nullptr;
  bool outageReported_ = false;
  bool subscribed_ = false;  // also: the connection has been ready
  // Mainloop thread, or under the lock: the sources known since subscribing, to name a
  // removed one.
  std::map<std::uint32_t, AudioSourceInfo> known_;

  std::mutex listenersMutex_;  // guards listeners_ and nextToken_
  std::map<int, SourceListener> listeners_;
  int nextToken_ = 1;
  SerialQueue events_{"vorn.pulse"};
};

}  // namespace vorn
