// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/pulse/PulseAudio.h"

#include <pulse/pulseaudio.h>

#include "base/Log.h"

namespace vorn {

namespace {

std::string property(const pa_proplist* properties, const char* key) {
  const char* value = properties ? pa_proplist_gets(properties, key) : nullptr;
  return value ? value : "";
}

AudioSourceInfo sourceInfo(const pa_source_info& info) {
  AudioSourceInfo source;
  source.index = info.index;
  source.name = info.name ? info.name : "";
  source.description = info.description ? info.description : source.name;
  source.isMonitor = info.monitor_of_sink != PA_INVALID_INDEX;
  source.bus = property(info.proplist, PA_PROP_DEVICE_BUS);
  source.formFactor = property(info.proplist, PA_PROP_DEVICE_FORM_FACTOR);
  return source;
}

struct SourceQuery {
  PulseContext* context;
  std::vector<AudioSourceInfo>* sources;
};

struct ServerQuery {
  PulseContext* context;
  std::optional<SoundServerInfo>* server;
};

}  // namespace

// The C callbacks of the mainloop thread, with access to the context's private parts.
struct PulseContextCallbacks {
  static void contextState(pa_context* context, void* self) {
    auto* owner = static_cast<PulseContext*>(self);
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) && owner->subscribed_) {
      // The server went away after we were connected: try once to come back, so that
      // device events resume when the server restarts at once (PipeWire does).
      owner->subscribed_ = false;
      owner->events_.async([owner] { owner->connected(); });
    }
    owner->signal();
  }

  static void sourceListed(pa_context*, const pa_source_info* info, int end, void* query) {
    auto* q = static_cast<SourceQuery*>(query);
    if (!end && info) q->sources->push_back(sourceInfo(*info));
    if (end) q->context->signal();
  }

  static void serverListed(pa_context*, const pa_server_info* info, void* query) {
    auto* q = static_cast<ServerQuery*>(query);
    if (info) {
      SoundServerInfo server;
      server.defaultSource = info->default_source_name ? info->default_source_name : "";
      server.defaultSink = info->default_sink_name ? info->default_sink_name : "";
      *q->server = server;
    }
    q->context->signal();
  }

  static void sinkListed(pa_context*, const pa_sink_info* info, int end, void* query) {
    auto* q = static_cast<ServerQuery*>(query);
    if (!end && info && info->monitor_source_name && *q->server)
      (*q->server)->defaultSinkMonitor = info->monitor_source_name;
    if (end) q->context->signal();
  }

  static void knownSource(pa_context*, const pa_source_info* info, int end, void* self) {
    if (!end && info) static_cast<PulseContext*>(self)->sourceAdded(sourceInfo(*info), true);
  }

  static void presentSource(pa_context*, const pa_source_info* info, int end, void* self) {
    if (!end && info) static_cast<PulseContext*>(self)->sourceAdded(sourceInfo(*info), false);
  }

  static void subscription(pa_context* context, pa_subscription_event_type_t type,
                           std::uint32_t index, void* self) {
    if ((type & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) != PA_SUBSCRIPTION_EVENT_SOURCE) return;
    auto* owner = static_cast<PulseContext*>(self);
    switch (type & PA_SUBSCRIPTION_EVENT_TYPE_MASK) {
      case PA_SUBSCRIPTION_EVENT_NEW:
        if (pa_operation* op =
                pa_context_get_source_info_by_index(context, index, knownSource, self))
          pa_operation_unref(op);
        break;
      case PA_SUBSCRIPTION_EVENT_REMOVE:
        owner->sourceRemoved(index);
        break;
      default:
        break;
    }
  }
};

PulseLock::PulseLock(pa_threaded_mainloop* mainloop) : mainloop_(mainloop) {
  pa_threaded_mainloop_lock(mainloop_);
}

PulseLock::~PulseLock() { pa_threaded_mainloop_unlock(mainloop_); }

PulseContext& PulseContext::shared() {
  // Never destroyed: threads still winding down at exit may use it, and the server drops
  // the connection of an ended process anyway.
  static PulseContext* context = new PulseContext();
  return *context;
}

PulseContext::PulseContext() : mainloop_(pa_threaded_mainloop_new()) {
  pa_threaded_mainloop_set_name(mainloop_, "vorn.pulseloop");
  if (pa_threaded_mainloop_start(mainloop_) < 0) logError("PulseAudio mainloop didn't start.");
}

bool PulseContext::connected() {
  PulseLock lock(mainloop_);
  return connectLocked();
}

pa_context* PulseContext::readyContext() { return connectLocked() ? context_ : nullptr; }

void PulseContext::signal() { pa_threaded_mainloop_signal(mainloop_, 0); }

void PulseContext::wait(pa_operation* operation) {
  if (!operation) return;
  while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING)
    pa_threaded_mainloop_wait(mainloop_);
  pa_operation_unref(operation);
}

bool PulseContext::connectLocked() {
  if (context_ && pa_context_get_state(context_) == PA_CONTEXT_READY) return true;
  if (context_) {
    logError("PulseAudio connection lost, reconnecting.");
    dropContextLocked();
  }
  context_ = pa_context_new(pa_threaded_mainloop_get_api(mainloop_), "Vorn");
  pa_context_set_state_callback(context_, PulseContextCallbacks::contextState, this);
  // Never start a server of our own: the desktop session owns it.
  bool ready = pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) >= 0;
  while (ready) {
    const pa_context_state_t state = pa_context_get_state(context_);
    if (state == PA_CONTEXT_READY) break;
    if (!PA_CONTEXT_IS_GOOD(state))
      ready = false;
    else
      pa_threaded_mainloop_wait(mainloop_);
  }
  if (!ready) {
    if (!outageReported_)
      logError(std::string("PulseAudio isn't reachable: ") +
               pa_strerror(pa_context_errno(context_)));
    outageReported_ = true;
    dropContextLocked();
    return false;
  }
  outageReported_ = false;
  subscribeLocked();
  return true;
}

void PulseContext::dropContextLocked() {
  if (!context_) return;
  pa_context_set_state_callback(context_, nullptr, nullptr);
  pa_context_set_subscribe_callback(context_, nullptr, nullptr);
  pa_context_disconnect(context_);
  pa_context_unref(context_);
  context_ = nullptr;
  subscribed_ = false;
  known_.clear();
}

void PulseContext::subscribeLocked() {
  if (subscribed_) return;
  subscribed_ = true;
  pa_context_set_subscribe_callback(context_, PulseContextCallbacks::subscription, this);
  if (pa_operation* op =
          pa_context_subscribe(context_, PA_SUBSCRIPTION_MASK_SOURCE, nullptr, nullptr))
    pa_operation_unref(op);
  // Learn the sources present now, so that a later removal can be named.
  if (pa_operation* op =
          pa_context_get_source_info_list(context_, PulseContextCallbacks::presentSource, this))
    pa_operation_unref(op);
}

std::vector<AudioSourceInfo> PulseContext::sources() {
  std::vector<AudioSourceInfo> found;
  PulseLock lock(mainloop_);
  if (!connectLocked()) return found;
  SourceQuery query{this, &found};
  wait(pa_context_get_source_info_list(context_, PulseContextCallbacks::sourceListed, &query));
  return found;
}

std::optional<SoundServerInfo> PulseContext::serverInfo() {
  std::optional<SoundServerInfo> server;
  PulseLock lock(mainloop_);
  if (!connectLocked()) return server;
  ServerQuery query{this, &server};
  wait(pa_context_get_server_info(context_, PulseContextCallbacks::serverListed, &query));
  if (server && !server->defaultSink.empty())
    wait(pa_context_get_sink_info_by_name(context_, server->defaultSink.c_str(),
                                          PulseContextCallbacks::sinkListed, &query));
  return server;
}

int PulseContext::addSourceListener(SourceListener listener) {
  int token;
  {
    std::lock_guard guard(listenersMutex_);
    token = nextToken_++;
    listeners_.emplace(token, std::move(listener));
  }
  connected();  // subscribes
  return token;
}

void PulseContext::removeSourceListener(int token) {
  SourceListener removed;
  {
    std::lock_guard guard(listenersMutex_);
    auto it = listeners_.find(token);
    if (it == listeners_.end()) return;
    removed = std::move(it->second);
    listeners_.erase(it);
  }
  // A delivery under way may still hold a copy of the listener: let it finish.
  if (!events_.isCurrent()) events_.sync([] {});
}

void PulseContext::sourceAdded(const AudioSourceInfo& source, bool announce) {
  const bool isNew = known_.find(source.index) == known_.end();
  known_[source.index] = source;
  if (isNew && announce) deliver(AudioSourceEvent::added, source);
}

void PulseContext::sourceRemoved(std::uint32_t index) {
  auto it = known_.find(index);
  if (it == known_.end()) return;
  const AudioSourceInfo source = it->second;
  known_.erase(it);
  deliver(AudioSourceEvent::removed, source);
}

void PulseContext::deliver(AudioSourceEvent event, const AudioSourceInfo& source) {
  events_.async([this, event, source] {
    std::map<int, SourceListener> listeners;
    {
      std::lock_guard guard(listenersMutex_);
      listeners = listeners_;
    }
    for (const auto& [token, listener] : listeners) listener(event, source);
  });
}

}  // namespace vorn
