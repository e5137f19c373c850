// SPDX-License-Identifier: GPL-3.0-or-later
// vorncut: the reel engine. `vorncut promo TAKE --jsonl --brain device --out REEL` listens to
// a take, finds its story and renders a captioned vertical reel beside its cover and caption.
#include "cut/Options.h"
#include "cut/Promo.h"
#include "cut/Words.h"
#include "model/Settings.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>

namespace {

constexpr const char* kUsage =
    "Usage: vorncut promo TAKE --out REEL [options]\n"
    "Listens to a take, finds its story and renders a captioned vertical reel, with its cover\n"
    "and caption beside it.\n"
    "\n"
    "Options:\n"
    "  --out REEL                   Where the reel goes.\n"
    "  --jsonl                      Reports as JSON lines, for the studio.\n"
    "  --brain device|claude        Who writes the story (claude: the claude command).\n"
    "  --script FILE                The script the take was read from.\n"
    "  --theme=TEXT                 A one-line brief for the story.\n"
    "  --face=natural|sculpted      A finish for the face, with --camera.\n"
    "  --camera=X,Y,W,H             Where the camera sits in the frame, in fractions.\n"
    "  -h, --help                   Shows this help.\n"
    "  -v, --version                Shows the version.\n";

bool asks(const std::vector<std::string>& arguments, const char* shortName, const char* longName) {
  return std::any_of(arguments.begin(), arguments.end(),
                     [&](const std::string& a) { return a == shortName || a == longName; });
}

}  // namespace

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (asks(arguments, "-h", "--help")) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (asks(arguments, "-v", "--version")) {
    std::printf("vorncut %s\n", VORN_VERSION);
    return 0;
  }
  QCoreApplication app(argc, argv);
  const bool jsonLines = vorn::cut::wantsJsonLines(arguments);
  vorn::cut::Report report(jsonLines);
  vorn::cut::Options options;
  try {
    options = vorn::cut::parseOptions(arguments);
  } catch (const vorn::cut::CutError& error) {
    // The studio reads its errors from the JSON stream; a person, on standard error.
    if (jsonLines) report.error(error.what());
    else std::fprintf(stderr, "vorncut: %s\n", error.what());
    return 2;
  }
  if (const QString problem = vorn::settingsFileProblem(); !problem.isEmpty()) {
    report.error(problem.toStdString());
    return 1;
  }
  return vorn::cut::promo(options, report);
}
