// SPDX-License-Identifier: GPL-3.0-or-later
// The reel maker driving real processes: small shell scripts stand in for the reel engine.
#include "model/ReelWork.h"
#include "reels/FakeEngine.h"

#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QStandardPaths>

#include <sys/stat.h>

namespace vorn {
namespace {

using test::eventually;
using test::FakeEngine;

const QString kCouldNotMake = QStringLiteral("Couldn't make a reel from this take.");
const QString kStopped = QStringLiteral("The reel engine stopped.");
const QString kDidNotStart = QStringLiteral("The reel engine didn't start.");
const QString kNoVoice = QStringLiteral("No voice in this take, so there's no story to cut.");
// The engine's "done", naming the reel it was asked to write ("$7", after --out).
const QByteArray kDone = "printf '{\"event\":\"done\",\"video\":\"%s\"}\\n' \"$7\"\n";

class ReelMakerTest : public testing::Test {
 protected:
  void SetUp() override {
    userSettings().clear();
    studio = std::make_unique<Studio>();
    maker = std::make_unique<ReelMaker>(*studio);
    maker->onToast = [this](const QString& text) { toasts.append(text); };
  }

  std::optional<ReelStage> stage(const Take& take) const {
    const std::optional<ReelJob> job = maker->job(take);
    return job ? std::optional(job->stage) : std::nullopt;
  }

  // Waits until the take's job has reached `expected` and no run is left open.
  bool settles(const Take& take, const ReelStage& expected) {
    return eventually([&] { return stage(take) == expected && !maker->runningTake(); });
  }

  FakeEngine engine;  // first: outlives the maker and its processes
  std::unique_ptr<Studio> studio;
  std::unique_ptr<ReelMaker> maker;
  QStringList toasts;
};

TEST_F(ReelMakerTest, makingTwiceForOneTakeGivesOneJobAndOneQueueEntry) {
  maker->pause();
  const Take a = engine.take("A", kDone);
  maker->make(a, QStringLiteral("first"));
  maker->make(a, QStringLiteral("second"));
  EXPECT_EQ(maker->jobs().size(), 1u);
  EXPECT_EQ(maker->queue(), std::vector<QUrl>{a.url});
  EXPECT_EQ(maker->job(a)->theme, "first");
  maker->resume();
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  maker->make(a, QString());
  EXPECT_TRUE(maker->queue().empty()) << "a finished job is not queued again";
  EXPECT_EQ(maker->job(a)->stage, ReelStage::ready());
}

TEST_F(ReelMakerTest, jobsRunOneAtATimeInArrivalOrder) {
  const QString order = engine.path("order");
  std::vector<Take> takes;
  for (const char* name : {"A", "B", "C"}) {
    const QByteArray script = QStringLiteral("echo 'start %1' >> '%2'\nsleep 0.2\n"
                                             "echo 'end %1' >> '%2'\n")
                                  .arg(name, order)
                                  .toUtf8() +
                              kDone;
    takes.push_back(engine.take(name, script));
    maker->make(takes.back(), QString());
  }
  EXPECT_EQ(maker->runningTake(), takes[0].url);
  EXPECT_EQ(maker->queue(), (std::vector<QUrl>{takes[1].url, takes[2].url}));
  EXPECT_EQ(stage(takes[0]), ReelStage::listening());
  EXPECT_EQ(stage(takes[1]), ReelStage::waiting());
  EXPECT_EQ(stage(takes[2]), ReelStage::waiting());
  ASSERT_TRUE(settles(takes[2], ReelStage::ready()));
  EXPECT_EQ(stage(takes[0]), ReelStage::ready());
  EXPECT_EQ(stage(takes[1]), ReelStage::ready());
  QFile file(order);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), QByteArray("start A\nend A\nstart B\nend B\nstart C\nend C\n"));
  EXPECT_EQ(maker->latest(), takes[2].url);
}

TEST_F(ReelMakerTest, aHeldQueueStartsNothingUntilResumed) {
  QSignalSpy held(maker.get(), &ReelMaker::heldChanged);
  maker->pause();
  maker->pause();
  EXPECT_TRUE(maker->held());
  EXPECT_FALSE(maker->suspended()) << "nothing was running";
  EXPECT_EQ(held.count(), 1);
  const Take a = engine.take("A", kDone);
  maker->make(a, QString());
  EXPECT_EQ(stage(a), ReelStage::waiting());
  EXPECT_FALSE(maker->runningTake());
  QTest::qWait(200);
  EXPECT_EQ(stage(a), ReelStage::waiting());
  EXPECT_TRUE(FakeEngine::sidecar(a, "pid").isEmpty()) << "the engine never started";
  maker->resume();
  EXPECT_FALSE(maker->held());
  EXPECT_EQ(stage(a), ReelStage::listening());
  EXPECT_TRUE(settles(a, ReelStage::ready()));
}

TEST_F(ReelMakerTest, discardingTheRunningJobStopsItTrashesItsFilesAndStartsTheNextAtOnce) {
  const Take a = engine.take("A", "echo '{\"event\":\"stage\",\"stage\":\"story\"}'\n"
                                  "exec sleep 30\n");
  const Take b = engine.take("B", kDone);
  maker->make(a, QString());
  maker->make(b, QString());
  ASSERT_TRUE(eventually([&] { return stage(a) == ReelStage::story(); }));
  const pid_t engineA = FakeEngine::pid(a);
  ASSERT_GT(engineA, 0);

  const QStringList reelFiles = ReelMaker::files(ReelMaker::reelPath(a.url));
  for (const QString& path : reelFiles) FakeEngine::write(path, "reel");
  const QString work = reelWorkFolder(ReelMaker::reelPath(a.url));
  ASSERT_TRUE(QDir().mkpath(work + "/words"));
  QSignalSpy trashed(maker.get(), &ReelMaker::trashed);
  maker->discard(a);
  EXPECT_FALSE(maker->job(a).has_value());
  EXPECT_EQ(maker->runningTake(), b.url) << "the next job starts at once";
  EXPECT_EQ(stage(b), ReelStage::listening());
  EXPECT_TRUE(maker->queue().empty());

  EXPECT_TRUE(eventually([&] { return test::processGone(engineA); }));
  EXPECT_TRUE(settles(b, ReelStage::ready()));
  ASSERT_TRUE(eventually([&] { return trashed.count() == 1; }));
  for (const QString& path : reelFiles) EXPECT_FALSE(QFileInfo::exists(path)) << path.toStdString();
  const QDir trash(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                   "/Trash/files");
  EXPECT_TRUE(trash.exists(QFileInfo(reelFiles[0]).fileName()));
  EXPECT_TRUE(trash.exists(QFileInfo(reelFiles[3]).fileName()));
  EXPECT_FALSE(QFileInfo::exists(work)) << "cache is removed, not trashed";
  EXPECT_TRUE(QFileInfo::exists(a.url.toLocalFile() + ".engine")) << "the take side is untouched";
  EXPECT_FALSE(maker->job(a).has_value()) << "late events of the stopped run change nothing";
}

TEST_F(ReelMakerTest, aDoneMessageForADiscardedTakeChangesNothing) {
  // This engine outlives the termination request and reports after its job is gone.
  const Take a = engine.take("A", "trap '' TERM\necho '{\"event\":\"stage\",\"stage\":\"story\"}'\n"
                                  "sleep 0.3\necho '{\"event\":\"done\"}'\n");
  maker->make(a, QString());
  ASSERT_TRUE(eventually([&] { return stage(a) == ReelStage::story(); }));
  const pid_t pid = FakeEngine::pid(a);
  maker->discard(a);
  EXPECT_FALSE(maker->runningTake());
  ASSERT_TRUE(eventually([&] { return test::processGone(pid); }));
  QCoreApplication::sendPostedEvents();
  EXPECT_FALSE(maker->job(a).has_value());
  EXPECT_FALSE(maker->latest().has_value());
  EXPECT_TRUE(toasts.isEmpty());
}

TEST_F(ReelMakerTest, discardingAFinishedReelClearsLatest) {
  const Take a = engine.take("A", kDone);
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  EXPECT_EQ(maker->latest(), a.url);
  QSignalSpy latest(maker.get(), &ReelMaker::latestChanged);
  maker->discard(a);
  EXPECT_FALSE(maker->latest().has_value());
  EXPECT_EQ(latest.count(), 1);
  EXPECT_TRUE(maker->jobs().empty());
}

TEST_F(ReelMakerTest, doneThenExitStatusOneStaysReady) {
  const Take a = engine.take(
      "A", "printf '{\"event\":\"done\",\"video\":\"%s\",\"caption\":\"Hi\","
           "\"duration\":\"12.5\"}\\n' \"$7\"\nexit 1\n");
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  const ReelJob job = *maker->job(a);
  EXPECT_EQ(job.video, QUrl::fromLocalFile(ReelMaker::reelPath(a.url)));
  EXPECT_EQ(job.caption, "Hi");
  EXPECT_EQ(job.duration, 12.5);
  EXPECT_EQ(maker->latest(), a.url);
  EXPECT_EQ(toasts, QStringList{"Your reel is ready"});
}

// Only a reel the engine was asked for, in the reels folder, is ever ready or sent on.
TEST_F(ReelMakerTest, aDoneWithoutAReelOrWithOneElsewhereFails) {
  const Take none = engine.take("none", "echo '{\"event\":\"done\",\"duration\":\"0\"}'\n");
  const Take elsewhere = engine.take("elsewhere", "echo '{\"event\":\"done\",\"video\":\"/etc/passwd\"}'\n");
  const Take climbing = engine.take(
      "climbing", "printf '{\"event\":\"done\",\"video\":\"%s/../x.mp4\"}\\n' \"$(dirname \"$7\")\"\n");
  for (const Take& take : {none, elsewhere, climbing}) maker->make(take, QString());
  ASSERT_TRUE(settles(climbing, ReelStage::failed(kCouldNotMake)));
  for (const Take& take : {none, elsewhere}) {
    EXPECT_EQ(stage(take), ReelStage::failed(kCouldNotMake));
    EXPECT_FALSE(maker->job(take)->video);
  }
  EXPECT_FALSE(maker->latest().has_value());
  EXPECT_TRUE(toasts.isEmpty());
}

// Whether the process `pid` has ended (a zombie has).
bool ended(pid_t pid) {
  QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
  if (!stat.open(QIODevice::ReadOnly)) return true;
  const QByteArray line = stat.readAll();
  return line.mid(line.lastIndexOf(')') + 2, 1) == "Z";
}

// An engine that hangs, or ends leaving a child that holds its output, is ended with all it
// started once it has said nothing for the limit; the queue goes on.
TEST_F(ReelMakerTest, aSilentEngineIsEndedWithItsChildrenAndTheQueueMovesOn) {
  maker->setSilenceLimit(std::chrono::seconds(3));
  const QByteArray story = "echo '{\"event\":\"stage\",\"stage\":\"story\"}'\n";
  const Take hangs = engine.take("hangs", story + "sleep 600 &\necho $! > \"$2.child\"\nwait\n");
  const Take leaves = engine.take("leaves", story + "sleep 600 &\necho $! > \"$2.child\"\nexit 0\n");
  const Take next = engine.take("next", kDone);
  for (const Take& take : {hangs, leaves, next}) maker->make(take, QString());
  ASSERT_TRUE(QTest::qWaitFor([&] { return stage(next) == ReelStage::ready(); }, 120000));
  for (const Take& take : {hangs, leaves}) {
    EXPECT_EQ(stage(take), ReelStage::failed(kCouldNotMake));
    const pid_t child = FakeEngine::sidecar(take, "child").trimmed().toInt();
    ASSERT_GT(child, 0);
    EXPECT_TRUE(eventually([&] { return ended(child); })) << "the engine's child lives on";
  }
}

TEST_F(ReelMakerTest, anErrorMentioningNoUsableSpeechShowsTheVoiceText) {
  const Take a = engine.take("A", "echo '{\"event\":\"error\",\"message\":\"stage 2 found no "
                                  "usable speech in the first minute\"}'\nexit 2\n");
  maker->make(a, QString());
  EXPECT_TRUE(settles(a, ReelStage::failed(kNoVoice)));
  EXPECT_FALSE(maker->latest().has_value());
  EXPECT_TRUE(toasts.isEmpty());
}

TEST_F(ReelMakerTest, anEngineEndingWithoutFinalMessageFailsByHowItEnded) {
  const QByteArray story = "echo '{\"event\":\"stage\",\"stage\":\"story\"}'\n";
  const Take exits = engine.take("exits", story + "exit 3\n");
  const Take killed = engine.take("killed", story + "kill -KILL $$\n");
  const Take clean = engine.take("clean", story + "exit 0\n");
  maker->make(exits, QString());
  maker->make(killed, QString());
  maker->make(clean, QString());
  ASSERT_TRUE(settles(clean, ReelStage::failed(kCouldNotMake)));
  EXPECT_EQ(stage(exits), ReelStage::failed(kCouldNotMake));
  EXPECT_EQ(stage(killed), ReelStage::failed(kStopped));
}

TEST_F(ReelMakerTest, splitPairedAndGarbageOutputIsReadLineByLine) {
  const Take a = engine.take(
      "A",
      "printf '{\"event\":\"sta'\nsleep 0.2\nprintf 'ge\",\"stage\":\"rendering\"}\\n'\n"
      "printf '{\"event\":\"progress\",\"value\":0.25}\\n{\"event\":\"stage\",\"stage\":\"story\"}\\n'\n"
      "echo 'not json'\necho '[1,2]'\necho '\"text\"'\necho ''\n"
      "printf '{\"event\":\"story\",\"headline\":[\"A\",\"B\"],\"flags\":[\"f\"],\"brand\":\"b\","
      "\"brain\":\"claude\",\"caption\":\"c\"}\\r\\n'\n"
      "printf '{\"event\":\"done\"}'\n");
  std::vector<ReelStage> history;
  QObject::connect(maker.get(), &ReelMaker::jobsChanged, maker.get(), [&] {
    if (const auto now = stage(a); now && (history.empty() || history.back() != *now))
      history.push_back(*now);
  });
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::failed(kCouldNotMake))) << "the unterminated done is lost";
  EXPECT_EQ(history, (std::vector<ReelStage>{ReelStage::waiting(), ReelStage::listening(),
                                             ReelStage::rendering(0), ReelStage::rendering(0.25),
                                             ReelStage::story(), ReelStage::failed(kCouldNotMake)}));
  const ReelJob job = *maker->job(a);
  EXPECT_EQ(job.headline, QStringList({"A", "B"}));
  EXPECT_EQ(job.flags, QStringList{"f"});
  EXPECT_EQ(job.brain, "claude");
  EXPECT_EQ(job.caption, "c");
}

TEST_F(ReelMakerTest, aSuspendedEngineMakesNoProgressUntilResumed) {
  const Take a = engine.take("A",
                             "i=0\nwhile :; do i=$((i+1)); echo $i > \"$2.tmp\"; "
                             "mv \"$2.tmp\" \"$2.count\"; sleep 0.02; done\n");
  const Take b = engine.take("B", kDone);
  const auto count = [&] { return FakeEngine::sidecar(a, "count").trimmed().toInt(); };
  maker->make(a, QString());
  ASSERT_TRUE(eventually([&] { return count() > 0; }));
  const pid_t pid = FakeEngine::pid(a);

  maker->pause();
  EXPECT_TRUE(maker->held());
  EXPECT_TRUE(maker->suspended());
  ASSERT_TRUE(eventually([&] { return test::groupStopped(pid); }));
  maker->make(b, QString());
  const int frozen = count();
  QTest::qWait(300);
  EXPECT_EQ(count(), frozen);
  EXPECT_EQ(stage(b), ReelStage::waiting());
  EXPECT_EQ(maker->runningTake(), a.url);

  maker->resume();
  EXPECT_FALSE(maker->suspended());
  EXPECT_TRUE(eventually([&] { return count() > frozen; }));
  EXPECT_EQ(stage(b), ReelStage::waiting()) << "one run at a time";
  maker->pause();
  maker->discard(a);  // stopping a suspended engine continues it first
  EXPECT_FALSE(maker->suspended());
  EXPECT_TRUE(eventually([&] { return test::processGone(pid); }));
  EXPECT_EQ(stage(b), ReelStage::waiting()) << "still held";
  maker->resume();
  EXPECT_TRUE(settles(b, ReelStage::ready()));
}

TEST_F(ReelMakerTest, stoppingASuspendedRunEndsItAsStopped) {
  const Take a = engine.take("A", "echo '{\"event\":\"stage\",\"stage\":\"story\"}'\n"
                                  "exec sleep 30\n");
  maker->make(a, QString());
  ASSERT_TRUE(eventually([&] { return stage(a) == ReelStage::story(); }));
  const pid_t pid = FakeEngine::pid(a);
  maker->pause();
  ASSERT_TRUE(eventually([&] { return test::groupStopped(pid); }));
  maker->shutdown();
  EXPECT_FALSE(maker->runningTake());
  EXPECT_FALSE(maker->suspended());
  EXPECT_TRUE(eventually([&] { return test::processGone(pid); }));
}

TEST_F(ReelMakerTest, shutdownEmptiesTheQueue) {
  const Take a = engine.take("A", "exec sleep 30\n");
  const Take b = engine.take("B", kDone);
  maker->make(a, QString());
  maker->make(b, QString());
  const pid_t pid = [&] {
    pid_t found = 0;
    eventually([&] { return (found = FakeEngine::pid(a)) > 0; });
    return found;
  }();
  maker->shutdown();
  EXPECT_TRUE(maker->queue().empty());
  EXPECT_FALSE(maker->runningTake());
  EXPECT_TRUE(eventually([&] { return test::processGone(pid); }));
  EXPECT_EQ(stage(b), ReelStage::waiting());
}

TEST_F(ReelMakerTest, theLogIsStartedAnewAbove512000BytesAndAppendedBelow) {
  const QString log = ReelMaker::logPath();
  QDir().mkpath(QFileInfo(log).path());
  const QByteArray script = "printf 'oops\\n' >&2\n" + kDone;
  int runs = 0;
  const auto runWithLog = [&](qsizetype size) {
    FakeEngine::write(log, QByteArray(size, 'x'));
    const Take take = engine.take(QStringLiteral("log%1").arg(++runs), script);
    maker->make(take, QString());
    EXPECT_TRUE(settles(take, ReelStage::ready()));
    return QFileInfo(log).size();
  };
  EXPECT_EQ(runWithLog(600000), 5);
  EXPECT_EQ(runWithLog(400000), 400005);
  EXPECT_EQ(runWithLog(512000), 512005);
  QFile::remove(log);
  const Take fresh = engine.take("fresh", script);
  maker->make(fresh, QString());
  ASSERT_TRUE(settles(fresh, ReelStage::ready()));
  EXPECT_EQ(QFileInfo(log).size(), 5);
}

TEST_F(ReelMakerTest, anUnopenableLogSendsTheEnginesErrorsToTheNullDevice) {
  const QString log = ReelMaker::logPath();
  QFile::remove(log);
  ASSERT_TRUE(QDir().mkpath(log));  // a folder where the log should be
  {
    const UniqueFd fd = ReelMaker::log();
    struct stat opened {};
    struct stat null {};
    ASSERT_EQ(::fstat(fd.get(), &opened), 0);
    ASSERT_EQ(::stat("/dev/null", &null), 0);
    EXPECT_EQ(opened.st_rdev, null.st_rdev);
  }
  const Take a = engine.take("A", "printf 'oops\\n' >&2\n" + kDone);
  maker->make(a, QString());
  EXPECT_TRUE(settles(a, ReelStage::ready()));
  EXPECT_TRUE(QDir().rmdir(log)) << "still an empty folder";
}

TEST_F(ReelMakerTest, theLogIsTheUsersAloneAndNeverWrittenThroughALink) {
  const QString log = ReelMaker::logPath();
  QDir().mkpath(QFileInfo(log).path());
  QFile::remove(log);
  const QString other = engine.path("someone else's");
  FakeEngine::write(other, "keep");
  ASSERT_TRUE(QFile::link(other, log));
  {
    const UniqueFd fd = ReelMaker::log();
    struct stat opened {};
    struct stat null {};
    ASSERT_EQ(::fstat(fd.get(), &opened), 0);
    ASSERT_EQ(::stat("/dev/null", &null), 0);
    EXPECT_EQ(opened.st_rdev, null.st_rdev);
  }
  QFile::remove(log);
  const mode_t umaskBefore = ::umask(022);
  ReelMaker::log();
  ::umask(umaskBefore);
  struct stat created {};
  ASSERT_EQ(::lstat(QFile::encodeName(log).constData(), &created), 0);
  EXPECT_EQ(created.st_mode & 07777, 0600u);
  QFile kept(other);
  ASSERT_TRUE(kept.open(QIODevice::ReadOnly));
  EXPECT_EQ(kept.readAll(), "keep");
}

TEST_F(ReelMakerTest, theEngineRunsAtLowPriority) {
  const Take a = engine.take("A", "nice > \"$2.nice\"\n" + kDone);
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  EXPECT_GE(FakeEngine::sidecar(a, "nice").trimmed().toInt(), 10);
}

TEST_F(ReelMakerTest, theEngineReceivesTheThemeAsOneArgument) {
  Prefs prefs;
  prefs.layout = Layout::me;
  prefs.face = FaceLook::natural;
  studio->setPrefs(prefs);
  const Take a = engine.take("A", kDone);
  maker->make(a, QStringLiteral("-- two words "));
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  EXPECT_EQ(FakeEngine::arguments(a),
            QStringList({"promo", a.url.toLocalFile(), "--jsonl", "--brain", "device", "--out",
                         ReelMaker::reelPath(a.url), "--theme=two words", "--face=natural",
                         "--camera=0.0000,0.0000,1.0000,1.0000"}));
}

TEST_F(ReelMakerTest, aLaunchErrorFailsTheJobAndTheQueueMovesOn) {
  const QString broken = engine.path("broken");
  FakeEngine::write(broken, QByteArray("\x7f" "ELF not really", 15));
  QFile::setPermissions(broken, QFile::permissions(broken) | QFile::ExeOwner);
  qputenv("VORN_CUT_PATH", QFile::encodeName(broken));
  const Take a = engine.take("A", kDone);
  const Take b = engine.take("B", kDone);
  maker->pause();
  maker->make(a, QString());
  maker->make(b, QString());
  maker->resume();
  EXPECT_EQ(stage(a), ReelStage::failed(kDidNotStart));
  EXPECT_EQ(stage(b), ReelStage::failed(kDidNotStart));
  EXPECT_TRUE(maker->queue().empty());
  EXPECT_FALSE(maker->runningTake());
}

TEST_F(ReelMakerTest, anEngineGoneAtItsTurnLeavesTheJobQueued) {
  const QByteArray path = qgetenv("VORN_CUT_PATH");
  maker->pause();
  const Take a = engine.take("A", kDone);
  maker->make(a, QString());
  qunsetenv("VORN_CUT_PATH");
  maker->resume();
  EXPECT_EQ(stage(a), ReelStage::waiting());
  EXPECT_EQ(maker->queue(), std::vector<QUrl>{a.url});
  qputenv("VORN_CUT_PATH", path);
  maker->resume();
  EXPECT_TRUE(settles(a, ReelStage::ready()));
}

TEST_F(ReelMakerTest, aReadyReelIsAnnouncedOnlyWhenNotUnderReview) {
  const Take a = engine.take("A", kDone);
  const Take b = engine.take("B", kDone);
  studio->setPhase(Phase::review);
  studio->setTake(a);
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  EXPECT_TRUE(toasts.isEmpty()) << "the review bar already shows it";
  maker->make(b, QString());
  ASSERT_TRUE(settles(b, ReelStage::ready()));
  EXPECT_EQ(toasts, QStringList{"Your earlier reel is ready. Open it from the menu bar."});
}

TEST_F(ReelMakerTest, theDefaultToastShowsInTheStudio) {
  maker->onToast = nullptr;
  const Take a = engine.take("A", kDone);
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  EXPECT_EQ(studio->toast(), QStringLiteral("Your reel is ready"));
  EXPECT_TRUE(eventually([&] { return !studio->toast().has_value(); }));
}

class SendTest : public ReelMakerTest {
 protected:
  void SetUp() override {
    ReelMakerTest::SetUp();
    path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(engine.path("bin")) + ":/usr/bin:/bin");
    QDir().mkpath(engine.path("bin"));
  }
  void TearDown() override { qputenv("PATH", path); }

  Take readyTake() {
    const Take a = engine.take("A", "printf '{\"event\":\"done\",\"video\":\"%s\","
                                    "\"caption\":\"Watch me\"}\\n' \"$7\"\n");
    maker->make(a, QString());
    EXPECT_TRUE(settles(a, ReelStage::ready()));
    toasts.clear();
    return a;
  }

  QByteArray path;
};

TEST_F(SendTest, withoutAPhoneTheCaptionIsCopiedAndTheFallbackShown) {
  if (!QStandardPaths::findExecutable("kdeconnect-cli").isEmpty())
    GTEST_SKIP() << "kdeconnect-cli is installed system-wide";
  const Take a = readyTake();
  QGuiApplication::clipboard()->setText("old");
  maker->send(a);
  EXPECT_EQ(QGuiApplication::clipboard()->text(), "Watch me");
  EXPECT_TRUE(eventually([&] { return !toasts.isEmpty(); }));
  EXPECT_EQ(toasts,
            QStringList{"No phone is connected. Caption copied; drag the phone to share."});
}

TEST_F(SendTest, aReelWithoutAPostTextLeavesTheClipboardAndSaysNothingOfACaption) {
  if (!QStandardPaths::findExecutable("kdeconnect-cli").isEmpty())
    GTEST_SKIP() << "kdeconnect-cli is installed system-wide";
  const Take a = engine.take("A", "printf '{\"event\":\"done\",\"video\":\"%s\"}\\n' \"$7\"\n");
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::ready()));
  toasts.clear();
  QGuiApplication::clipboard()->setText("old");
  maker->send(a);
  EXPECT_TRUE(eventually([&] { return !toasts.isEmpty(); }));
  EXPECT_EQ(toasts, QStringList{"No phone is connected. Drag the phone to share."});
  EXPECT_EQ(QGuiApplication::clipboard()->text(), "old");
}

TEST_F(SendTest, aReachablePhoneGetsTheReel) {
  const QString record = engine.path("shared");
  const QString tool = engine.path("bin/kdeconnect-cli");
  FakeEngine::write(tool, QStringLiteral("#!/bin/sh\ncase \"$1\" in\n"
                                         "--list-available) echo phone1; echo phone2;;\n"
                                         "--device) printf '%s\\n' \"$@\" > '%1';;\nesac\n")
                              .arg(record)
                              .toUtf8());
  QFile::setPermissions(tool, QFile::permissions(tool) | QFile::ExeOwner);
  const Take a = readyTake();
  maker->send(a);
  ASSERT_TRUE(eventually([&] { return !toasts.isEmpty(); }));
  EXPECT_EQ(toasts, QStringList{"Caption copied. Paste it in Instagram."});
  QFile file(record);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), "--device\nphone1\n--share\n" + ReelMaker::reelPath(a.url).toUtf8() + "\n");
  EXPECT_EQ(QGuiApplication::clipboard()->text(), "Watch me");
}

TEST_F(SendTest, aPhoneListedButNoneReachableFallsBack) {
  const QString tool = engine.path("bin/kdeconnect-cli");
  FakeEngine::write(tool, "#!/bin/sh\nexit 0\n");
  QFile::setPermissions(tool, QFile::permissions(tool) | QFile::ExeOwner);
  const Take a = readyTake();
  maker->send(a);
  ASSERT_TRUE(eventually([&] { return !toasts.isEmpty(); }));
  EXPECT_EQ(toasts,
            QStringList{"No phone is connected. Caption copied; drag the phone to share."});
}

TEST_F(SendTest, aJobWithoutVideoSendsNothing) {
  const Take a = engine.take("A", "echo '{\"event\":\"done\"}'\n");
  maker->make(a, QString());
  ASSERT_TRUE(settles(a, ReelStage::failed(kCouldNotMake)));
  toasts.clear();
  QGuiApplication::clipboard()->setText("old");
  maker->send(a);
  maker->send(Take{QUrl::fromLocalFile("/nope.mp4"), 1});
  QTest::qWait(100);
  EXPECT_TRUE(toasts.isEmpty());
  EXPECT_EQ(QGuiApplication::clipboard()->text(), "old");
}

}  // namespace
}  // namespace vorn
