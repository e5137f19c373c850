// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Options.h"

#include "base/Usage.h"
#include "cut/Words.h"

#include <QCommandLineParser>

#include <algorithm>
#include <sstream>

namespace vorn::cut {
namespace {

std::array<double, 4> cameraRect(const std::string& text) {
  const CutError wrong("The camera place must be four fractions: --camera=X,Y,W,H.");
  std::array<double, 4> rect{};
  std::istringstream in(text);
  std::string part;
  std::size_t count = 0;
  while (std::getline(in, part, ',')) {
    std::size_t used = 0;
    double value = -1;
    try {
      value = std::stod(part, &used);
    } catch (const std::exception&) {
      throw wrong;
    }
    if (count >= rect.size() || used != part.size() || value < 0 || value > 1) throw wrong;
    rect[count++] = value;
  }
  if (count != rect.size()) throw wrong;
  return rect;
}

void check(const Options& options) {
  if (options.take.empty()) throw CutError("No take was given: vorncut promo TAKE --out REEL.");
  if (options.out.empty()) throw CutError("No reel path was given: add --out REEL.");
  if (options.brain != "device" && options.brain != "claude")
    throw CutError("The story writer must be \"device\" or \"claude\".");
  if (!options.face.empty() && options.face != "natural" && options.face != "sculpted")
    throw CutError("The face finish must be \"natural\" or \"sculpted\".");
  if (!options.face.empty() && !options.camera)
    throw CutError("A face finish needs the camera's place: --camera=X,Y,W,H.");
}


const QString kName = QStringLiteral("vorncut");

// The parser with every option of the reel engine; `options` fills from it.
struct Parser {
  QCommandLineParser parser;
  QCommandLineOption help{{"h", "help"}, "Shows this help."};
  QCommandLineOption version{{"v", "version"}, "Shows the version."};
  QCommandLineOption out{"out", "Where the reel goes.", "REEL"};
  QCommandLineOption jsonLines{"jsonl", "Reports as JSON lines, for the studio."};
  QCommandLineOption brain{"brain", "Who writes the story: device, or claude (the claude command).", "WHO",
                           "device"};
  QCommandLineOption script{"script", "The script the take was read from.", "FILE"};
  QCommandLineOption theme{"theme", "A one-line brief for the story.", "TEXT"};
  QCommandLineOption face{"face", "A finish for the face, natural or sculpted, with --camera.", "FINISH"};
  QCommandLineOption camera{"camera", "Where the camera sits in the frame, in fractions.", "X,Y,W,H"};

  Parser() {
    parser.setApplicationDescription(
        "Listens to a take, finds its story and renders a captioned vertical reel, with its cover "
        "and caption beside it.");
    parser.addOptions({out, jsonLines, brain, script, theme, face, camera, help, version});
    parser.addPositionalArgument("promo", "The command: cuts a reel.", "promo");
    parser.addPositionalArgument("TAKE", "The take to cut.", "TAKE --out REEL");
  }
};

std::string text(const QString& value) { return value.toStdString(); }

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
  Parser p;
  QStringList line{kName};
  for (const std::string& argument : arguments) line << QString::fromStdString(argument);
  if (!p.parser.parse(line)) throw CutError(text(refusal(p.parser, kName)));
  Options options;
  options.help = p.parser.isSet(p.help);
  options.version = p.parser.isSet(p.version);
  if (options.help || options.version) return options;
  const QStringList positional = p.parser.positionalArguments();
  if (positional.isEmpty() || positional.first() != "promo")
    throw CutError("The only command is promo: vorncut promo TAKE --out REEL.");
  if (positional.size() > 2) throw CutError("Only one take can be cut at a time.");
  if (positional.size() == 2) options.take = text(positional[1]);
  options.jsonLines = p.parser.isSet(p.jsonLines);
  options.out = text(p.parser.value(p.out));
  options.brain = text(p.parser.value(p.brain));
  options.scriptFile = text(p.parser.value(p.script));
  options.theme = text(p.parser.value(p.theme));
  options.face = text(p.parser.value(p.face));
  if (p.parser.isSet(p.camera)) options.camera = cameraRect(text(p.parser.value(p.camera)));
  check(options);
  return options;
}

std::string usage() {
  // The command first, as it is typed: "vorncut promo TAKE --out REEL [options]".
  QString help = usageText(Parser().parser, kName);
  return text(help.replace(kName + " [options] promo TAKE --out REEL", kName + " promo TAKE --out REEL [options]"));
}

bool wantsJsonLines(const std::vector<std::string>& arguments) {
  return std::find(arguments.begin(), arguments.end(), "--jsonl") != arguments.end();
}

}  // namespace vorn::cut
