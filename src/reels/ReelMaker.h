// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/SerialQueue.h"
#include "base/UniqueFd.h"
#include "model/Model.h"
#include "model/Prefs.h"
#include "reels/ReelJob.h"
#include "reels/Running.h"

#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QUrl>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace vorn {

class Studio;

// The single owner of reel making: one job per take, run strictly one at a time in arrival
// order by the reel engine (`vorncut`), held back while the user records. GUI thread only:
// the engine's output and end arrive on the reader thread and are posted here. Every setter
// emits its change signal only when the value really changes.
class ReelMaker : public QObject {
  Q_OBJECT

 public:
  using Stage = ReelStage;
  using Job = ReelJob;

  // The one instance, created on first use, observing the shared studio.
  static ReelMaker& shared();

  explicit ReelMaker(Studio& studio, QObject* parent = nullptr);
  // Kills a reel engine still running and waits for the background trash work.
  ~ReelMaker() override;

  // ---- The reel engine's side: where it is, how it is started, where it logs.
  // `vorncut` beside the executable, then ../libexec/vorn/vorncut, then $VORN_CUT_PATH.
  static std::optional<QString> helper();
  // The reel engine is present; nothing else is asked.
  static bool isAvailable();
  // The three places `claude` is looked for, in order, built from the login name.
  static QStringList claudePlaces();
  static bool claudeInstalled();
  // "claude" when the preference is on and the tool is installed, otherwise "device".
  static QString storyWriter(const Prefs& prefs);
  // "Reels" inside the takes folder.
  static QString folder();
  // folder + "/" + the take's file name without extension + " · Reel.mp4".
  static QString reelPath(const QUrl& take);
  // The reel file and its cover, caption and hidden picture movie (its work folder, cache,
  // is reelWorkFolder(reel)).
  static QStringList files(const QString& reel);
  // "$XDG_STATE_HOME/vorn/engine.log" (~/.local/state without XDG_STATE_HOME): a log is
  // state to keep, not a file for the takes folder.
  static QString logPath();
  // The reel engine's standard error: logPath(), started anew above 512000 bytes, appended to
  // otherwise; the null device when it cannot be opened.
  static UniqueFd log();
  // The one-line brief, trimmed, with its leading hyphens dropped.
  static QString cleanTheme(const QString& theme);
  // The reel engine's command line for one job.
  static QStringList arguments(const Job& job, const QString& writer, const QString& reel);

  // ---- Operations.
  void make(const Take& take, const QString& theme);
  std::optional<Job> job(const std::optional<Take>& take) const;
  // Copies the caption and sends the finished reel to the phone.
  void send(const Take& take);
  // Forgets the take's job, moves its reel files to the Trash and removes its work folder.
  void discard(const Take& take);
  void pause();
  void resume();
  void shutdown();

  // A run that reports nothing for this long is ended, its whole group with it: far longer
  // than the slowest stage takes on a long take.
  static constexpr std::chrono::milliseconds silenceLimit = std::chrono::minutes(10);
  // Tests shorten the wait.
  void setSilenceLimit(std::chrono::milliseconds limit) { watchdog_.setInterval(limit); }

  // ---- Observable state.
  const std::map<QUrl, Job>& jobs() const { return jobs_; }
  const std::optional<QUrl>& latest() const { return latest_; }
  bool showReel() const { return showReel_; }
  void setShowReel(bool value);
  const std::vector<QUrl>& queue() const { return queue_; }
  // The take the reel engine works on now, if any.
  std::optional<QUrl> runningTake() const;
  bool held() const { return held_; }
  bool suspended() const { return suspended_; }

  // Shows one sentence to the user. By default the studio's toast for 2.4 s; the engine
  // installs its own flash here.
  std::function<void(const QString& text)> onToast;

 Q_SIGNALS:
  void jobsChanged();
  void latestChanged();
  void showReelChanged();
  void queueChanged();
  void runningChanged();
  void heldChanged();
  void suspendedChanged();
  // A discarded reel's files have been moved to the Trash (or could not be).
  void trashed(const QUrl& take);

 private:
  void next();
  void handle(const QJsonObject& message, const QUrl& url);
  void streamClosed(const QUrl& url, std::uint64_t serial);
  void exited(const QUrl& url, std::uint64_t serial, int status, bool killed);
  void finishIfDone();
  void endSilentRun();
  bool isReel(const std::optional<QUrl>& video) const;
  void stop(EngineProcess& process);
  bool launch(const QString& program, const QUrl& url, const Job& job);
  EngineProcess::Events eventsFor(const QUrl& url, std::uint64_t serial);
  void retire(std::unique_ptr<EngineProcess> process);
  void releaseRetired();
  void setJob(const QUrl& url, const Job& job);
  void setStage(const QUrl& url, const Stage& stage);
  void setQueue(std::vector<QUrl> value);
  void setLatest(std::optional<QUrl> value);
  void setHeld(bool value);
  void setSuspended(bool value);
  void setRunning(std::unique_ptr<Running> value);
  void announceReady(const QUrl& url);
  void flash(const QString& text);

  Studio& studio_;
  // All GUI thread only.
  std::map<QUrl, Job> jobs_;
  std::optional<QUrl> latest_;
  bool showReel_ = true;
  std::vector<QUrl> queue_;
  std::unique_ptr<Running> running_;
  bool held_ = false;
  bool suspended_ = false;
  std::uint64_t runs_ = 0;
  // Processes dropped before their end events came; freed once both have been seen.
  std::vector<std::unique_ptr<EngineProcess>> retired_;
  QTimer watchdog_;  // runs while an engine runs and may report
  SerialQueue trash_{"vorn.trash"};  // last: its pending moves finish before the rest goes
};

}  // namespace vorn
