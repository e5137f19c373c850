#include "app/RecordCommand.h"
#include "app/ReviewStates.h"
#include "app/StudioApp.h"
#include "base/Av.h"
#include "render/CompositorBenchmark.h"
#include "render/RenderSamples.h"

#include <cstdlib>
#include <cstring>

int main(int argc, char** argv) {
  vorn::av::quietLogs();
  const auto command = [&](const char* name) { return argc > 1 && std::strcmp(argv[1], name) == 0; };
  if (std::getenv("VORN_BENCH")) return vorn::runCompositorBenchmark(argc, argv);
  if (std::getenv("VORN_UI_TEST") || command("review-states")) return vorn::runReviewStates(argc, argv);
  if (command("render-samples")) return vorn::runRenderSamples(argc, argv);
  if (command("record")) return vorn::runRecordCommand(argc, argv);
  return vorn::runStudio(argc, argv);
}
