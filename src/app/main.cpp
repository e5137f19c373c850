// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/CommandLine.h"
#include "app/RecordCommand.h"
#include "devtools/ReviewStates.h"
#include "app/StudioApp.h"
#include "base/Av.h"
#include "devtools/CompositorBenchmark.h"
#include "devtools/RenderSamples.h"

#include <cstdio>
#include <cstdlib>

namespace {

QStringList argumentsOf(int argc, char** argv) {
  QStringList arguments;
  for (int i = 0; i < argc; ++i) arguments << QString::fromLocal8Bit(argv[i]);
  return arguments;
}

}  // namespace

int main(int argc, char** argv) {
  vorn::av::quietLogs();
  if (std::getenv("VORN_BENCH")) return vorn::runCompositorBenchmark(argc, argv);
  if (std::getenv("VORN_UI_TEST")) return vorn::runReviewStates(argc, argv);
  using Command = vorn::CommandLine::Command;
  const vorn::CommandLine line = vorn::readCommandLine(argumentsOf(argc, argv));
  switch (line.command) {
    case Command::print: std::fputs(qPrintable(line.text), stdout); return 0;
    case Command::refuse: std::fputs(qPrintable("vorn: " + line.text + '\n'), stderr); return 2;
    case Command::record: return vorn::runRecordCommand(argc, argv);
    case Command::reviewStates: return vorn::runReviewStates(argc, argv);
    case Command::renderSamples: return vorn::runRenderSamples(argc, argv);
    case Command::studio: break;
  }
  return vorn::runStudio(argc, argv, line.request);
}
