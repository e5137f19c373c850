// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/RecordOptions.h"

#include "base/Usage.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cmath>

namespace vorn {
namespace {

// Longer than any take a disk holds, and well within what a timer can count in milliseconds.
constexpr double kLongestTake = 86400;

const QString kName = QStringLiteral("vorn record");

std::optional<Rect> parseArea(const QString& text) {
  const QStringList parts = text.split(',');
  if (parts.size() != 4) return std::nullopt;
  double values[4];
  for (int i = 0; i < 4; ++i) {
    bool ok = false;
    values[i] = parts[i].trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(values[i])) return std::nullopt;
  }
  if (values[2] <= 0 || values[3] <= 0) return std::nullopt;
  return Rect{values[0], values[1], values[2], values[3]};
}

struct RecordParser {
  QCommandLineParser parser;
  QCommandLineOption help{{"h", "help"}, QCoreApplication::translate("vorn record", "Shows this help.")};
  QCommandLineOption seconds{"seconds", QCoreApplication::translate("vorn record", "Stops after N seconds (otherwise at Ctrl+C)."), "N"};
  QCommandLineOption layout{"layout", QCoreApplication::translate("vorn record", "The layout: screen, split or me."), "LAYOUT"};
  QCommandLineOption style{"style", QCoreApplication::translate("vorn record", "The frame style: bleed or floating."), "STYLE"};
  QCommandLineOption fps{"fps", QCoreApplication::translate("vorn record", "The frame rate: 30 or 60."), "FPS"};
  QCommandLineOption area{"area", QCoreApplication::translate("vorn record", "The capture area in display points."), "X,Y,W,H"};
  QCommandLineOption display{"display", QCoreApplication::translate("vorn record", "The display to record, counted from 0."), "N"};
  QCommandLineOption noCamera{"no-camera", QCoreApplication::translate("vorn record", "Records without the camera.")};
  QCommandLineOption noMic{"no-mic", QCoreApplication::translate("vorn record", "Records without the microphone.")};
  QCommandLineOption systemAudio{"system-audio", QCoreApplication::translate("vorn record", "Records the system's sound as well.")};
  QCommandLineOption out{"out", QCoreApplication::translate("vorn record", "Writes the take to FILE instead of the takes folder."), "FILE"};

  RecordParser() {
    parser.setApplicationDescription(
        QCoreApplication::translate("vorn record", "Records a take without the studio's windows and prints its path, its duration and "
        "the count of dropped frames. Options not given come from the studio's settings."));
    parser.addOptions({help, seconds, layout, style, fps, area, display, noCamera, noMic, systemAudio, out});
  }
};

// The value checks QCommandLineParser leaves to us; an empty string when all are fine.
QString readValues(const RecordParser& p, RecordOptions& o) {
  const QCommandLineParser& parser = p.parser;
  if (parser.isSet(p.seconds)) {
    bool ok = false;
    const double seconds = parser.value(p.seconds).toDouble(&ok);
    if (!ok || !(seconds > 0) || seconds > kLongestTake)
      return QCoreApplication::translate("vorn record", "The number of seconds must be a positive number up to 86400 (a day).");
    o.seconds = seconds;
  }
  if (parser.isSet(p.layout)) {
    const auto layout = fromRawValue<Layout>(parser.value(p.layout).toStdString());
    if (!layout) return QCoreApplication::translate("vorn record", "The layout must be screen, split or me.");
    o.prefs.layout = *layout;
  }
  if (parser.isSet(p.style)) {
    const auto style = fromRawValue<FrameStyle>(parser.value(p.style).toStdString());
    if (!style) return QCoreApplication::translate("vorn record", "The style must be bleed or floating.");
    o.prefs.style = *style;
  }
  if (parser.isSet(p.fps)) {
    const QString fps = parser.value(p.fps);
    if (fps != "30" && fps != "60") return QCoreApplication::translate("vorn record", "The frame rate must be 30 or 60.");
    o.prefs.fps = fps.toInt();
  }
  if (parser.isSet(p.area)) {
    o.area = parseArea(parser.value(p.area));
    if (!o.area) return QCoreApplication::translate("vorn record", "The area must be four numbers X,Y,W,H with a positive size.");
  }
  if (parser.isSet(p.display)) {
    bool ok = false;
    const int display = parser.value(p.display).toInt(&ok);
    if (!ok || display < 0) return QCoreApplication::translate("vorn record", "The display must be a number from 0.");
    o.display = display;
  }
  if (parser.isSet(p.out)) {
    if (parser.value(p.out).isEmpty()) return QCoreApplication::translate("vorn record", "The take's path can't be empty.");
    o.out = parser.value(p.out);
  }
  if (parser.isSet(p.noCamera)) o.prefs.cameraOn = false;
  if (parser.isSet(p.noMic)) o.prefs.micOn = false;
  if (parser.isSet(p.systemAudio)) o.prefs.systemAudio = true;
  return {};
}

}  // namespace

QString recordUsage() { return usageText(RecordParser().parser, kName); }

ParsedRecordOptions parseRecordOptions(const QStringList& arguments, const Prefs& saved) {
  ParsedRecordOptions parsed{{saved, {}, {}, {}, {}, false}, {}};
  RecordParser p;
  if (!p.parser.parse(QStringList{kName} + arguments)) {
    parsed.error = refusal(p.parser, kName);
    return parsed;
  }
  if (!p.parser.positionalArguments().isEmpty()) {
    parsed.error = QCoreApplication::translate("vorn record", "Unexpected argument %1 (see vorn record --help).")
                       .arg(p.parser.positionalArguments().first());
    return parsed;
  }
  parsed.options.help = p.parser.isSet(p.help);
  parsed.error = readValues(p, parsed.options);
  return parsed;
}

}  // namespace vorn
