// vorncut: the reel engine. `vorncut promo TAKE --jsonl --brain device --out REEL` listens to
// a take, finds its story and renders a captioned vertical reel beside its cover and caption.
#include "cut/Options.h"
#include "cut/Promo.h"
#include "cut/Words.h"
#include "model/Settings.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  vorn::cut::Report report(vorn::cut::wantsJsonLines(arguments));
  vorn::cut::Options options;
  try {
    options = vorn::cut::parseOptions(arguments);
  } catch (const vorn::cut::CutError& error) {
    report.error(error.what());
    return 2;
  }
  if (const QString problem = vorn::settingsFileProblem(); !problem.isEmpty()) {
    report.error(problem.toStdString());
    return 1;
  }
  return vorn::cut::promo(options, report);
}
