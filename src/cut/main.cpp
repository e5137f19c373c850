// SPDX-License-Identifier: GPL-3.0-or-later
// vorncut: the reel engine. `vorncut promo TAKE --jsonl --brain device --out REEL` listens to
// a take, finds its story and renders a captioned vertical reel beside its cover and caption.
#include "cut/Options.h"
#include "cut/Promo.h"
#include "cut/Words.h"
#include "model/Settings.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
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
  if (options.help) {
    std::fputs(vorn::cut::usage().c_str(), stdout);
    return 0;
  }
  if (options.version) {
    std::printf("vorncut %s\n", VORN_VERSION);
    return 0;
  }
  QCoreApplication app(argc, argv);
  if (const QString problem = vorn::settingsFileProblem(); !problem.isEmpty()) {
    report.error(problem.toStdString());
    return 1;
  }
  return vorn::cut::promo(options, report);
}
