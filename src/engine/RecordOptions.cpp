#include "engine/RecordOptions.h"

#include <cmath>

namespace vorn {
namespace {

// Longer than any take a disk holds, and well within what a timer can count in milliseconds.
constexpr double kLongestTake = 86400;


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

// Reads the value after option `name`; sets `error` when it is missing.
std::optional<QString> valueOf(const QStringList& args, qsizetype& i, QString& error) {
  if (i + 1 >= args.size()) {
    error = QStringLiteral("The option %1 needs a value.").arg(args[i]);
    return std::nullopt;
  }
  return args[++i];
}

}  // namespace

QString recordUsage() {
  return QStringLiteral(
      "Usage: vorn record [--seconds N] [--layout screen|split|me] [--style bleed|floating]\n"
      "                   [--fps 30|60] [--area X,Y,W,H] [--display N] [--no-camera]\n"
      "                   [--no-mic] [--system-audio] [--out FILE]\n"
      "Records a take without the studio's windows, until N seconds pass or Ctrl+C.\n");
}

ParsedRecordOptions parseRecordOptions(const QStringList& args, const Prefs& saved) {
  ParsedRecordOptions parsed{{saved, {}, {}, {}, {}, false}, {}};
  RecordOptions& o = parsed.options;
  QString& error = parsed.error;
  for (qsizetype i = 0; i < args.size() && error.isEmpty(); ++i) {
    const QString& arg = args[i];
    if (arg == "--help" || arg == "-h") {
      o.help = true;
    } else if (arg == "--no-camera") {
      o.prefs.cameraOn = false;
    } else if (arg == "--no-mic") {
      o.prefs.micOn = false;
    } else if (arg == "--system-audio") {
      o.prefs.systemAudio = true;
    } else if (arg == "--seconds") {
      const auto value = valueOf(args, i, error);
      bool ok = false;
      const double seconds = value ? value->toDouble(&ok) : 0;
      if (value && (!ok || !(seconds > 0) || seconds > kLongestTake))
        error = QStringLiteral("The number of seconds must be a positive number up to 86400 (a day).");
      else if (value)
        o.seconds = seconds;
    } else if (arg == "--layout") {
      const auto value = valueOf(args, i, error);
      const auto layout = value ? fromRawValue<Layout>(value->toStdString()) : std::nullopt;
      if (value && !layout) error = QStringLiteral("The layout must be screen, split or me.");
      if (layout) o.prefs.layout = *layout;
    } else if (arg == "--style") {
      const auto value = valueOf(args, i, error);
      const auto style = value ? fromRawValue<FrameStyle>(value->toStdString()) : std::nullopt;
      if (value && !style) error = QStringLiteral("The style must be bleed or floating.");
      if (style) o.prefs.style = *style;
    } else if (arg == "--fps") {
      const auto value = valueOf(args, i, error);
      if (value && *value != "30" && *value != "60")
        error = QStringLiteral("The frame rate must be 30 or 60.");
      else if (value)
        o.prefs.fps = value->toInt();
    } else if (arg == "--area") {
      const auto value = valueOf(args, i, error);
      o.area = value ? parseArea(*value) : std::nullopt;
      if (value && !o.area)
        error = QStringLiteral("The area must be four numbers X,Y,W,H with a positive size.");
    } else if (arg == "--display") {
      const auto value = valueOf(args, i, error);
      bool ok = false;
      const int display = value ? value->toInt(&ok) : 0;
      if (value && (!ok || display < 0))
        error = QStringLiteral("The display must be a number from 0.");
      else if (value)
        o.display = display;
    } else if (arg == "--out") {
      const auto value = valueOf(args, i, error);
      if (value && value->isEmpty()) error = QStringLiteral("The take's path can't be empty.");
      else if (value) o.out = *value;
    } else {
      error = QStringLiteral("Unknown option %1 (see vorn record --help).").arg(arg);
    }
  }
  return parsed;
}

}  // namespace vorn
