// SPDX-License-Identifier: GPL-3.0-or-later
#include "reels/ReelMaker.h"

#include "base/Log.h"
#include "base/OwnFiles.h"
#include "base/Trash.h"
#include "model/ReelWork.h"
#include "model/Studio.h"
#include "reels/PhoneShare.h"
#include "reels/ReelMessage.h"
#include "model/Geometry.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QPointer>
#include <QTimer>

#include <algorithm>

namespace vorn {
namespace {

constexpr int kToastMilliseconds = 2400;

const char* const kDidNotStart = QT_TRANSLATE_NOOP("ReelMaker", "The reel engine didn't start.");
const char* const kStopped = QT_TRANSLATE_NOOP("ReelMaker", "The reel engine stopped.");
const char* const kCouldNotMake = QT_TRANSLATE_NOOP("ReelMaker", "Couldn't make a reel from this take.");

// The camera rectangle as fractions of the output frame.
std::optional<Rect> cameraFractions(const Prefs& prefs) {
  const std::optional<Rect> camera = Geometry::slots(prefs).camera;
  if (!camera) return std::nullopt;
  return Rect{camera->minX() / Geometry::canvasWidth, camera->minY() / Geometry::canvasHeight,
              camera->width / Geometry::canvasWidth, camera->height / Geometry::canvasHeight};
}

// The prompter's script saved with the job as the take ends, so a run that begins later (after
// the next take, with the script edited meanwhile) still reads the one this take was read
// from. Without it the engine reads the script saved at the time.
void saveScript(const QString& reel, const QString& script) {
  const QString path = reelScriptFile(reel);
  OwnFiles::makePrivateFolder(QFileInfo(path).path());
  QFile::remove(path);
  const QByteArray text = script.left(Prefs::maxScriptLength).toUtf8();
  QFile out;
  if (!OwnFiles::create(out, QFile::encodeName(path).toStdString()) ||
      out.write(text) != text.size() || !out.flush())
    logError("the take's script couldn't be saved for its reel: " + path.toStdString());
}

}  // namespace

ReelMaker& ReelMaker::shared() {
  static ReelMaker* instance = new ReelMaker(Studio::shared());  // lives for the whole run
  return *instance;
}

ReelMaker::ReelMaker(Studio& studio, QObject* parent) : QObject(parent), studio_(studio) {
  watchdog_.setSingleShot(true);
  watchdog_.setInterval(silenceLimit);
  connect(&watchdog_, &QTimer::timeout, this, &ReelMaker::endSilentRun);
}

ReelMaker::~ReelMaker() {
  // Processes go first: their threads post to this object until they are joined.
  running_.reset();
  retired_.clear();
}

// ---- Operations

void ReelMaker::make(const Take& take, const QString& theme) {
  if (!isAvailable() || jobs_.contains(take.url)) return;
  const Prefs& prefs = studio_.prefs();
  Job job;
  job.take = take;
  job.theme = cleanTheme(theme);
  job.camera = cameraFractions(prefs);
  job.face = prefs.face && job.camera ? *prefs.face : FaceLook::off;
  saveScript(reelPath(take.url), prefs.script);
  setJob(take.url, job);
  std::vector<QUrl> queue = queue_;
  queue.push_back(take.url);
  setQueue(std::move(queue));
  setShowReel(true);
  next();
}

std::optional<ReelMaker::Job> ReelMaker::job(const std::optional<Take>& take) const {
  if (!take) return std::nullopt;
  const auto found = jobs_.find(take->url);
  if (found == jobs_.end()) return std::nullopt;
  return found->second;
}

void ReelMaker::send(const Take& take) {
  const std::optional<Job> found = job(take);
  if (!found || !found->video) return;
  // A reel heard too unsurely for a post text has none: the clipboard keeps what it held.
  const bool captioned = !found->caption.isEmpty();
  if (captioned) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();
    clipboard->setText(found->caption);
  }
  const QPointer<ReelMaker> self(this);
  PhoneShare::send(found->video->toLocalFile(), this, [self, captioned](bool sent) {
    if (!self) return;
    if (captioned)
      self->flash(sent ? tr("Caption copied. Paste it in Instagram.")
                       : tr("No phone is connected. Caption copied; drag the phone to share."));
    else
      self->flash(sent ? tr("Reel sent to the phone.")
                       : tr("No phone is connected. Drag the phone to share."));
  });
}

void ReelMaker::discard(const Take& take) {
  const QUrl url = take.url;
  std::vector<QUrl> queue = queue_;
  std::erase(queue, url);
  setQueue(std::move(queue));
  const QString reel = reelPath(url);
  if (running_ && running_->url == url) {
    // Dropped at once: the run's later end events find no run and are ignored.
    stop(*running_->process);
    retire(std::move(running_->process));
    setRunning(nullptr);
  }
  if (jobs_.erase(url) > 0) Q_EMIT jobsChanged();
  if (latest_ == url) setLatest(std::nullopt);
  const QPointer<ReelMaker> self(this);
  trash_.async([paths = files(reel), work = reelWorkFolder(reel), script = reelScriptFile(reel),
                 self, url] {
    for (const QString& path : paths)
      if (QFileInfo::exists(path)) moveToTrash(path);
    QDir(work).removeRecursively();
    QFile::remove(script);
    if (ReelMaker* maker = self.data())
      QMetaObject::invokeMethod(maker, [self, url] { if (self) Q_EMIT self->trashed(url); },
                                Qt::QueuedConnection);
  });
  next();
}

void ReelMaker::pause() {
  setHeld(true);
  if (running_ && !suspended_) setSuspended(running_->process->suspend());
  if (suspended_) watchdog_.stop();  // a stopped engine can't report
}

void ReelMaker::resume() {
  setHeld(false);
  if (running_ && suspended_) {
    running_->process->proceed();
    watchdog_.start();
  }
  setSuspended(false);
  next();
}

void ReelMaker::shutdown() {
  setQueue({});
  if (!running_) return;
  stop(*running_->process);
  retire(std::move(running_->process));
  setRunning(nullptr);
}

// ---- Runs

void ReelMaker::next() {
  if (running_ || held_ || queue_.empty()) return;
  const QUrl url = queue_.front();
  const auto found = jobs_.find(url);
  const std::optional<QString> program = helper();
  if (found == jobs_.end() || !program) return;  // stays queued for a later call
  setQueue(std::vector<QUrl>(queue_.begin() + 1, queue_.end()));
  QDir().mkpath(folder());
  const Job job = found->second;
  if (launch(*program, url, job)) {
    setStage(url, Stage::listening());
  } else {
    setStage(url, Stage::failed(tr(kDidNotStart)));
    next();
  }
}

bool ReelMaker::launch(const QString& program, const QUrl& url, const Job& job) {
  const QStringList list = arguments(job, storyWriter(studio_.prefs()), reelPath(url));
  const UniqueFd errors = log();  // the child keeps its own copy
  const std::uint64_t serial = ++runs_;
  QString error;
  std::unique_ptr<EngineProcess> process =
      EngineProcess::launch(program, list, errors.get(), eventsFor(url, serial), &error);
  if (!process) {
    logError("reel engine didn't start: " + error.toStdString());
    return false;
  }
  auto run = std::make_unique<Running>();
  run->url = url;
  run->serial = serial;
  run->process = std::move(process);
  setRunning(std::move(run));
  return true;
}

EngineProcess::Events ReelMaker::eventsFor(const QUrl& url, std::uint64_t serial) {
  const QPointer<ReelMaker> self(this);
  // On the reader thread: hands the call to the GUI thread while the maker exists.
  const auto post = [self](std::function<void(ReelMaker&)> call) {
    ReelMaker* maker = self.data();
    if (!maker) return;
    QMetaObject::invokeMethod(
        maker, [self, call = std::move(call)] { if (self) call(*self); }, Qt::QueuedConnection);
  };
  EngineProcess::Events events;
  events.message = [post, url](const QJsonObject& message) {
    post([url, message](ReelMaker& maker) { maker.handle(message, url); });
  };
  events.streamClosed = [post, url, serial] {
    post([url, serial](ReelMaker& maker) { maker.streamClosed(url, serial); });
  };
  events.exited = [post, url, serial](int status, bool killed) {
    post([=](ReelMaker& maker) { maker.exited(url, serial, status, killed); });
  };
  return events;
}

void ReelMaker::handle(const QJsonObject& message, const QUrl& url) {
  const auto found = jobs_.find(url);
  if (found == jobs_.end()) return;
  Job job = found->second;
  if (running_ && running_->url == url) watchdog_.start();
  const ReelMessage::Effect effect = ReelMessage::apply(job, message);
  if (effect == ReelMessage::Effect::none) return;
  // A reel is only ever one the engine was asked to write, in the reels folder.
  if (effect == ReelMessage::Effect::done && !isReel(job.video)) {
    job.video.reset();
    job.stage = Stage::failed(tr(kCouldNotMake));
  }
  setJob(url, job);
  if (effect != ReelMessage::Effect::done || !job.video) return;
  setLatest(url);
  announceReady(url);
}

void ReelMaker::streamClosed(const QUrl& url, std::uint64_t serial) {
  releaseRetired();
  if (!running_ || running_->url != url || running_->serial != serial) return;
  running_->streamClosed = true;
  finishIfDone();
}

void ReelMaker::exited(const QUrl& url, std::uint64_t serial, int status, bool killed) {
  releaseRetired();
  if (!running_ || running_->url != url || running_->serial != serial) return;
  running_->exited = Running::Exit{status, killed};
  finishIfDone();
}

void ReelMaker::finishIfDone() {
  if (!running_ || !running_->isOver()) return;
  const QUrl url = running_->url;
  const bool killed = running_->exited->killed;
  setRunning(nullptr);
  setSuspended(false);
  const auto found = jobs_.find(url);
  if (found != jobs_.end() && !found->second.stage.isFinished())
    setStage(url, Stage::failed(tr(killed ? kStopped : kCouldNotMake)));
  next();
}

void ReelMaker::endSilentRun() {
  if (!running_) return;
  const QUrl url = running_->url;
  logError("the reel engine reported nothing for " +
           std::to_string(watchdog_.intervalAsDuration().count() / 1000) + " s, so it was ended");
  running_->process->kill();
  retire(std::move(running_->process));
  setRunning(nullptr);
  setSuspended(false);
  setStage(url, Stage::failed(tr(kCouldNotMake)));
  next();
}

bool ReelMaker::isReel(const std::optional<QUrl>& video) const {
  if (!video || !video->isLocalFile()) return false;
  const QFileInfo file(video->toLocalFile());
  return file.isAbsolute() && QDir::cleanPath(file.absolutePath()) == QDir::cleanPath(folder());
}

void ReelMaker::stop(EngineProcess& process) {
  // A stopped process cannot act on the termination request until it runs again.
  if (suspended_) {
    process.proceed();
    setSuspended(false);
  }
  process.terminate();
}

void ReelMaker::retire(std::unique_ptr<EngineProcess> process) {
  retired_.push_back(std::move(process));
}

void ReelMaker::releaseRetired() {
  std::erase_if(retired_, [](const std::unique_ptr<EngineProcess>& process) {
    return process->hasEnded();
  });
}

// ---- The user's view

void ReelMaker::announceReady(const QUrl& url) {
  if (studio_.phase() != Phase::review) {
    flash(tr("Your reel is ready"));
  } else if (!studio_.take() || studio_.take()->url != url) {
    flash(tr("Your earlier reel is ready. Open it from the menu bar."));
  }
}

void ReelMaker::flash(const QString& text) {
  if (onToast) {
    onToast(text);
    return;
  }
  studio_.setToast(text);
  QTimer::singleShot(kToastMilliseconds, this, [this, text] {
    if (studio_.toast() == text) studio_.setToast(std::nullopt);
  });
}

// ---- Observable state

std::optional<QUrl> ReelMaker::runningTake() const {
  if (!running_) return std::nullopt;
  return running_->url;
}

void ReelMaker::setJob(const QUrl& url, const Job& job) {
  const auto found = jobs_.find(url);
  if (found != jobs_.end() && found->second == job) return;
  jobs_.insert_or_assign(url, job);
  Q_EMIT jobsChanged();
}

void ReelMaker::setStage(const QUrl& url, const Stage& stage) {
  const auto found = jobs_.find(url);
  if (found == jobs_.end()) return;
  Job job = found->second;
  job.stage = stage;
  setJob(url, job);
}

void ReelMaker::setQueue(std::vector<QUrl> value) {
  if (queue_ == value) return;
  queue_ = std::move(value);
  Q_EMIT queueChanged();
}

void ReelMaker::setLatest(std::optional<QUrl> value) {
  if (latest_ == value) return;
  latest_ = std::move(value);
  Q_EMIT latestChanged();
}

void ReelMaker::setShowReel(bool value) {
  if (showReel_ == value) return;
  showReel_ = value;
  Q_EMIT showReelChanged();
}

void ReelMaker::setHeld(bool value) {
  if (held_ == value) return;
  held_ = value;
  Q_EMIT heldChanged();
}

void ReelMaker::setSuspended(bool value) {
  if (suspended_ == value) return;
  suspended_ = value;
  Q_EMIT suspendedChanged();
}

void ReelMaker::setRunning(std::unique_ptr<Running> value) {
  if (!running_ && !value) return;
  running_ = std::move(value);
  if (running_)
    watchdog_.start();
  else
    watchdog_.stop();
  Q_EMIT runningChanged();
}

}  // namespace vorn
