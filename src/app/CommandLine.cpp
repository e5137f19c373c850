// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/CommandLine.h"

#include "base/Usage.h"

#include <QCommandLineParser>
#include <QCoreApplication>

namespace vorn {
namespace {

const QString kName = QStringLiteral("vorn");

CommandLine print(QString text) { return {CommandLine::Command::print, StudioRequest::show, std::move(text)}; }
CommandLine refuse(QString sentence) {
  return {CommandLine::Command::refuse, StudioRequest::show, std::move(sentence)};
}

// The command's own options are its business: only its name is read here.
CommandLine command(const QString& name) {
  if (name == "record") return {CommandLine::Command::record, StudioRequest::show, {}};
  if (name == "review-states") return {CommandLine::Command::reviewStates, StudioRequest::show, {}};
  if (name == "render-samples") return {CommandLine::Command::renderSamples, StudioRequest::show, {}};
  return refuse(QCoreApplication::translate("vorn", "Unknown command %1 (see vorn --help).").arg(name));
}

}  // namespace

CommandLine readCommandLine(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(
      QCoreApplication::translate("vorn", "Vorn, a recording studio for short vertical videos. Without a command it opens the "
      "studio, or brings the one already running forward."));
  parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
  const QCommandLineOption help({"h", "help"}, QCoreApplication::translate("vorn", "Shows this help."));
  const QCommandLineOption version({"v", "version"}, QCoreApplication::translate("vorn", "Shows the version."));
  const QCommandLineOption toggle("toggle", QCoreApplication::translate("vorn", "Starts a take, or stops the one being recorded."));
  const QCommandLineOption show("show", QCoreApplication::translate("vorn", "Brings the studio forward."));
  const QCommandLineOption stop("stop", QCoreApplication::translate("vorn", "Stops the take being recorded."));
  parser.addOptions({help, version, toggle, show, stop});
  parser.addPositionalArgument("command", QCoreApplication::translate("vorn", "record: records a take from the terminal (see vorn record --help)."),
                               "[command]");

  if (!parser.parse(arguments.isEmpty() ? QStringList{kName} : arguments)) return refuse(refusal(parser, kName));
  if (parser.isSet(help)) return print(usageText(parser, kName));
  if (parser.isSet(version)) return print(QStringLiteral("vorn %1\n").arg(VORN_VERSION));
  const int requests = int(parser.isSet(toggle)) + int(parser.isSet(show)) + int(parser.isSet(stop));
  const QStringList positional = parser.positionalArguments();
  if (requests > 1) return refuse(QCoreApplication::translate("vorn", "Only one of --toggle, --show and --stop can be given."));
  if (requests == 1 && !positional.isEmpty())
    return refuse(QStringLiteral("--toggle, --show and --stop go without a command."));
  if (!positional.isEmpty()) return command(positional.first());
  if (parser.isSet(toggle)) return {CommandLine::Command::studio, StudioRequest::toggle, {}};
  if (parser.isSet(stop)) return {CommandLine::Command::studio, StudioRequest::stop, {}};
  return {};
}

}  // namespace vorn
