// SPDX-License-Identifier: GPL-3.0-or-later
// The studio on a private session bus: one studio per bus, driven by `vorn --toggle` and
// `vorn --stop` from other processes, or by the desktop's own shortcut on Wayland, and telling
// the desktop about a take saved out of sight.
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/KdeShortcuts.h"
#include "support/MovieProbe.h"
#include "support/TestServices.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDir>
#include <QImage>
#include <QProcess>
#include <QUrl>
#include <gtest/gtest.h>

#include <csignal>

namespace vorn {
namespace {

const QString kVorn = QString(VORN_BINARY_DIR) + "/vorn";
const QString kName = QStringLiteral("org.vorn.Vorn");

QDBusConnection bus() { return QDBusConnection::sessionBus(); }

// The pid of the process owning the studio's name; 0 while nobody does.
uint studioPid() {
  const QDBusReply<uint> pid = bus().interface()->servicePid(kName);
  return pid.isValid() ? pid.value() : 0;
}

// Runs `vorn ARGUMENTS` to its end while this process keeps answering on the bus.
int vorn(const QStringList& arguments, QString* out = nullptr) {
  QProcess process;
  process.start(kVorn, arguments);
  test::within(60, [&] { return process.state() == QProcess::NotRunning; });
  if (out) *out = QString::fromLocal8Bit(process.readAllStandardOutput());
  return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

// Every phase the studio announces, in order.
class PhaseWatch : public QObject {
  Q_OBJECT

 public:
  PhaseWatch() {
    bus().connect(kName, "/org/vorn/Vorn", "org.freedesktop.DBus.Properties", "PropertiesChanged", this,
                  SLOT(changed(QString, QVariantMap, QStringList)));
  }
  QStringList phases;
  bool saw(const QString& phase) { return test::within(60, [&] { return phases.contains(phase); }); }

 public Q_SLOTS:
  void changed(const QString& interface, const QVariantMap& properties, const QStringList&) {
    if (interface == kName && properties.contains("Phase")) phases << properties["Phase"].toString();
  }
};

// A second of the take under way is in its fragment (two half-second fragments).
bool aSecondWritten(const QDir& takes) {
  for (const QFileInfo& fragment : takes.entryInfoList({".recording-*"}, QDir::Files | QDir::Hidden)) {
    QFile file(fragment.filePath());
    if (file.open(QIODevice::ReadOnly) && file.readAll().count("moof") >= 2) return true;
  }
  return false;
}

// The desktop's notification server, as far as the studio uses it.
class FakeNotifications : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

 public:
  struct Shown {
    QString summary, body;
    QStringList actions;
  };
  std::vector<Shown> shown;

  void invoke(uint id, const QString& action) {
    QDBusMessage signal = QDBusMessage::createSignal("/org/freedesktop/Notifications",
                                                     "org.freedesktop.Notifications", "ActionInvoked");
    signal << id << action;
    bus().send(signal);
  }

 public Q_SLOTS:
  uint Notify(const QString&, uint, const QString&, const QString& summary, const QString& body,
              const QStringList& actions, const QVariantMap&, int) {
    shown.push_back({summary, body, actions});
    return uint(shown.size());
  }
  QStringList GetCapabilities() { return {"actions", "body"}; }
};

// The file manager's "show these items" service.
class FakeFileManager : public QObject {
  Q_OBJECT
  Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

 public:
  QStringList shownItems;

 public Q_SLOTS:
  void ShowItems(const QStringList& uris, const QString&) { shownItems << uris; }
};

class StudioBus : public testing::Test {
 protected:
  void SetUp() override {
    test::pulseServer()->pactl({"load-module", "module-sine-source", "source_name=vsine"});
    test::pulseServer()->pactl({"set-default-source", "vsine"});
  }
  // What a studio left running by a failed test must not leave to the next.
  void TearDown() override {
    if (const uint pid = studioPid()) ::kill(pid_t(pid), SIGKILL);
    test::within(30, [] { return studioPid() == 0; });
  }
};

TEST_F(StudioBus, twoStudiosStartedAtTheSameInstantGiveOne) {
  QProcess first, second;
  first.start(kVorn, {});
  second.start(kVorn, {});
  ASSERT_TRUE(test::within(60, [&] {
    return first.state() == QProcess::NotRunning || second.state() == QProcess::NotRunning;
  })) << "the later of the two hands over and ends";
  QProcess& gone = first.state() == QProcess::NotRunning ? first : second;
  QProcess& studio = &gone == &first ? second : first;
  EXPECT_EQ(gone.exitCode(), 0) << gone.readAllStandardError().toStdString();
  EXPECT_TRUE(gone.readAllStandardOutput().contains("already running"));
  ASSERT_TRUE(test::within(30, [&] { return studioPid() == uint(studio.processId()); }));

  // A studio that dies loses the name with its connection: the next start is a studio again.
  ::kill(pid_t(studio.processId()), SIGKILL);
  studio.waitForFinished();
  test::ChildProcess next({kVorn.toStdString()});
  ASSERT_TRUE(test::within(30, [&] { return studioPid() == uint(next.pid()); }));
}

TEST_F(StudioBus, toggleFromAnotherProcessCountsDownRecordsAndStopsATake) {
  const QDir takes(QDir::homePath() + "/Videos/Vorn");
  const QStringList before = takes.entryList({"*.mp4"}, QDir::Files);
  test::ChildProcess studio({kVorn.toStdString()});
  ASSERT_TRUE(test::within(30, [&] { return studioPid() == uint(studio.pid()); }));
  PhaseWatch watch;
  ASSERT_EQ(vorn({"--toggle"}), 0);
  ASSERT_TRUE(watch.saw("recording")) << watch.phases.join(' ').toStdString();
  EXPECT_EQ(watch.phases.mid(watch.phases.indexOf("countdown")).first(2), (QStringList{"countdown", "recording"}));

  // A second of the take lands in its fragment before it is stopped.
  ASSERT_TRUE(test::within(60, [&] { return aSecondWritten(takes); }));
  ASSERT_EQ(vorn({"--toggle"}), 0);
  ASSERT_TRUE(watch.saw("review")) << watch.phases.join(' ').toStdString();
  QStringList saved = takes.entryList({"*.mp4"}, QDir::Files);
  for (const QString& old : before) saved.removeAll(old);
  ASSERT_EQ(saved.size(), 1);
  EXPECT_GT(test::probeDuration(takes.filePath(saved.front())), 0.5);
  EXPECT_EQ(studioPid(), uint(studio.pid())) << "the studio stays after its take";
}

// Where no client may grab a key, the desktop holds Vorn's shortcut and presses it for Vorn.
TEST_F(StudioBus, onWaylandTheDesktopsShortcutCountsDownRecordsAndStopsATake) {
  if (const auto missing = test::KdeShortcuts::missingProgram()) GTEST_SKIP() << "no " << *missing << " here";
  test::KdeShortcuts desktop;
  const QDir takes(QDir::homePath() + "/Videos/Vorn");
  const QStringList before = takes.entryList({"*.mp4"}, QDir::Files);
  QImage screen(1280, 720, QImage::Format_RGB32);
  screen.fill(QColor(46, 139, 87));
  const std::string picture = test::tempHome()->path() + "/screen.png";
  ASSERT_TRUE(screen.save(QString::fromStdString(picture)));
  PhaseWatch watch;
  test::ChildProcess studio({"env", "XDG_SESSION_TYPE=wayland", "VORN_SAMPLE_SCREEN=" + picture, kVorn.toStdString()});
  ASSERT_TRUE(watch.saw("framing"));
  ASSERT_TRUE(test::within(30, [&] { return desktop.press("vorn", "toggle"); }))
      << "the studio's shortcut is filed with the desktop";
  ASSERT_TRUE(watch.saw("recording")) << watch.phases.join(' ').toStdString();
  EXPECT_EQ(watch.phases.mid(watch.phases.indexOf("countdown")).first(2), (QStringList{"countdown", "recording"}));

  ASSERT_TRUE(test::within(60, [&] { return aSecondWritten(takes); }));
  ASSERT_TRUE(desktop.press("vorn", "toggle"));
  ASSERT_TRUE(watch.saw("review")) << watch.phases.join(' ').toStdString();
  QStringList saved = takes.entryList({"*.mp4"}, QDir::Files);
  for (const QString& old : before) saved.removeAll(old);
  ASSERT_EQ(saved.size(), 1);
  EXPECT_GT(test::probeDuration(takes.filePath(saved.front())), 0.5);
}

TEST_F(StudioBus, aTakeSavedWhileTheStudioIsHiddenIsAnnouncedWithShowInFiles) {
  FakeNotifications notifications;
  FakeFileManager files;
  ASSERT_TRUE(bus().registerObject("/org/freedesktop/Notifications", &notifications, QDBusConnection::ExportAllSlots));
  ASSERT_TRUE(bus().registerService("org.freedesktop.Notifications"));
  ASSERT_TRUE(bus().registerObject("/org/freedesktop/FileManager1", &files, QDBusConnection::ExportAllSlots));
  ASSERT_TRUE(bus().registerService("org.freedesktop.FileManager1"));
  PhaseWatch watch;
  const QDir takes(QDir::homePath() + "/Videos/Vorn");
  const QStringList before = takes.entryList({"*.mp4"}, QDir::Files);

  // With no studio running, --toggle starts one and records.
  QProcess studio;
  studio.start(kVorn, {"--toggle"});
  ASSERT_TRUE(watch.saw("recording")) << watch.phases.join(' ').toStdString();
  std::string windows;
  test::runCommand({"xdotool", "search", "--onlyvisible", "--name", "^Vorn$", "windowminimize", "%@"});
  ASSERT_TRUE(test::eventually([&] {
    test::runCommand({"xdotool", "search", "--onlyvisible", "--name", "^Vorn$"}, &windows);
    return windows.empty();
  })) << "the studio's window is minimized";
  // Long enough to be kept, however busy the machine.
  ASSERT_TRUE(test::within(60, [&] { return aSecondWritten(takes); }));
  ASSERT_EQ(vorn({"--stop"}), 0);
  ASSERT_TRUE(watch.saw("review")) << watch.phases.join(QLatin1Char(' ')).toStdString();

  ASSERT_TRUE(test::within(30, [&] { return !notifications.shown.empty(); }));
  const auto& shown = notifications.shown.front();
  EXPECT_EQ(shown.summary, "Take saved");
  QStringList saved = takes.entryList({"*.mp4"}, QDir::Files);
  for (const QString& old : before) saved.removeAll(old);
  ASSERT_EQ(saved.size(), 1);
  EXPECT_TRUE(shown.body.contains(saved.front())) << shown.body.toStdString();
  ASSERT_TRUE(shown.actions.contains("show-in-files")) << shown.actions.join(',').toStdString();

  notifications.invoke(1, "show-in-files");
  ASSERT_TRUE(test::within(30, [&] { return !files.shownItems.isEmpty(); }));
  EXPECT_EQ(QUrl(files.shownItems.front()).toLocalFile(), takes.filePath(saved.front()));
  ASSERT_EQ(vorn({"--stop"}), 0) << "stopping with no take under way is no error";
  studio.kill();
  studio.waitForFinished();
}

}  // namespace
}  // namespace vorn

#include "StudioBusTest.moc"
