// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/UniqueFd.h"
#include "reels/LineReader.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace vorn {

// One reel engine process: launched at low priority in a process group of its own, its
// standard output read on a thread of its own ("vorn.reel") and cut into messages, its end
// seen through a pidfd. Signals go to the whole group, so the programs the engine runs
// stop, continue and end with it. The engine is killed when the studio ends, even by a crash.
class EngineProcess {
 public:
  // Called on the reader thread, in this order per stream: messages as they complete, then
  // streamClosed at end of file; exited once the process has ended (before or after the
  // stream closes). `status` is the exit status, or the signal number when `killed`.
  struct Events {
    std::function<void(const QJsonObject& message)> message;
    std::function<void()> streamClosed;
    std::function<void(int status, bool killed)> exited;
  };

  // Starts `program` with `arguments`, the environment and working folder of this process,
  // standard input inherited, standard output read here and standard error on `errorFd`.
  // Nothing, with the reason in `error`, when the program cannot be started.
  static std::unique_ptr<EngineProcess> launch(const QString& program, const QStringList& arguments,
                                               int errorFd, Events events, QString* error);

  EngineProcess(const EngineProcess&) = delete;
  EngineProcess& operator=(const EngineProcess&) = delete;
  // A process still running is killed (no events follow); returns once its thread is gone.
  ~EngineProcess();

  pid_t pid() const { return pid_; }

  // The three requests, each sent to the whole group; false when the process has already
  // been reaped or the request failed.
  bool suspend();
  bool proceed();
  bool terminate();
  // Ends the group at once, stopped or not.
  bool kill();

  // True once both end events have been delivered.
  bool hasEnded() const { return ended_.load(); }

 private:
  EngineProcess(pid_t pid, UniqueFd pidfd, UniqueFd output, Events events);
  bool signal(int number);
  // The status of the ended process, which stays unreaped; false when it can't be read.
  bool exitStatus(int* status, bool* killed);
  void reap();
  void run(std::stop_token stop);
  void readOutput(bool* closed);

  const pid_t pid_;
  const UniqueFd pidfd_;
  const UniqueFd output_;  // reader thread only after launch
  UniqueFd wakeRead_;      // reader thread only
  UniqueFd wakeWrite_;     // written once by the destructor
  const Events events_;
  LineReader reader_;
  // Held while signalling and while reaping, so that no signal can reach a recycled pid.
  std::mutex reapLock_;
  bool reaped_ = false;  // guarded by reapLock_
  std::atomic<bool> ended_{false};
  std::jthread thread_;  // last: joins before the fields it reads go away
};

}  // namespace vorn
