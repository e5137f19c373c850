// SPDX-License-Identifier: GPL-3.0-or-later
// `vorn` and `vorncut` read their command lines before touching a display: help, version and
// refusals work on a machine (or in a shell) without one.
#include <QProcess>
#include <gtest/gtest.h>

#include <cstdlib>

namespace vorn {
namespace {

struct Outcome {
  int status = -1;
  QString out, err;
};

Outcome run(const QString& program, const QStringList& arguments) {
  QProcess process;
  QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
  // As from a text console: no display, and no platform plugin chosen for Qt.
  environment.remove("DISPLAY");
  environment.remove("WAYLAND_DISPLAY");
  environment.remove("QT_QPA_PLATFORM");
  process.setProcessEnvironment(environment);
  process.start(QString(VORN_BINARY_DIR) + "/" + program, arguments);
  process.waitForFinished(60000);
  return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
          QString::fromLocal8Bit(process.readAllStandardOutput()),
          QString::fromLocal8Bit(process.readAllStandardError())};
}

void expectOneSentence(const Outcome& refused, const QString& program) {
  EXPECT_EQ(refused.status, 2) << refused.err.toStdString();
  EXPECT_TRUE(refused.out.isEmpty()) << refused.out.toStdString();
  EXPECT_EQ(refused.err.count('\n'), 1) << refused.err.toStdString();
  EXPECT_TRUE(refused.err.startsWith(program + ": ")) << refused.err.toStdString();
  EXPECT_TRUE(refused.err.trimmed().endsWith('.')) << refused.err.toStdString();
}

TEST(CommandLine, vornsHelpAndVersionNeedNoDisplay) {
  const Outcome help = run("vorn", {"--help"});
  EXPECT_EQ(help.status, 0) << help.err.toStdString();
  EXPECT_TRUE(help.out.startsWith("Usage: vorn [options] [command]")) << help.out.toStdString();
  for (const char* option : {"--toggle", "--show", "--stop", "--version"})
    EXPECT_TRUE(help.out.contains(option)) << option;
  EXPECT_TRUE(help.err.isEmpty()) << help.err.toStdString();

  const Outcome version = run("vorn", {"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(version.out.startsWith("vorn " VORN_VERSION_TEXT)) << version.out.toStdString();

  const Outcome recordHelp = run("vorn", {"record", "--help"});
  EXPECT_EQ(recordHelp.status, 0) << recordHelp.err.toStdString();
  EXPECT_TRUE(recordHelp.out.startsWith("Usage: vorn record [options]")) << recordHelp.out.toStdString();
  EXPECT_TRUE(recordHelp.out.contains("--seconds <N>"));
}

TEST(CommandLine, vornRefusesWithOneSentenceAndStatusTwo) {
  expectOneSentence(run("vorn", {"--frobnicate"}), "vorn");
  expectOneSentence(run("vorn", {"rekord"}), "vorn");
  expectOneSentence(run("vorn", {"--toggle", "--stop"}), "vorn");
  expectOneSentence(run("vorn", {"record", "--seconds"}), "vorn");
  expectOneSentence(run("vorn", {"record", "--seconds=soon"}), "vorn");
  expectOneSentence(run("vorn", {"record", "--frobnicate"}), "vorn");
}

TEST(CommandLine, vorncutsHelpGoesToStandardOutputAndItsErrorsOnceToStandardError) {
  const Outcome help = run("vorncut", {"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_TRUE(help.out.startsWith("Usage: vorncut promo TAKE")) << help.out.toStdString();
  EXPECT_TRUE(help.err.isEmpty()) << help.err.toStdString();

  const Outcome version = run("vorncut", {"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(version.out.startsWith("vorncut " VORN_VERSION_TEXT)) << version.out.toStdString();

  expectOneSentence(run("vorncut", {"promo", "take.mp4", "--out", "reel.mp4", "--loud"}), "vorncut");
  expectOneSentence(run("vorncut", {}), "vorncut");
}

}  // namespace
}  // namespace vorn
