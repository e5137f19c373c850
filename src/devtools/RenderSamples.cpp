// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/RenderSamples.h"

#include "base/Log.h"
#include "render/Compositor.h"
#include "devtools/SampleScenes.h"

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QStringList>

#include <cstdio>

namespace vorn {
namespace {

constexpr char usage[] = "Usage: vorn render-samples --out DIR [--width PIXELS]\n";

struct Options {
  QString out;
  int width = 0;  // 0: as composed
};

bool parse(const QStringList& arguments, Options& options) {
  // arguments[0] is the program, arguments[1] the command.
  for (int i = 2; i < arguments.size(); ++i) {
    const QString& argument = arguments[i];
    if (i + 1 >= arguments.size()) return false;
    if (argument == QLatin1String("--out")) {
      options.out = arguments[++i];
    } else if (argument == QLatin1String("--width")) {
      bool ok = false;
      options.width = arguments[++i].toInt(&ok);
      if (!ok || options.width <= 0) return false;
    } else {
      return false;
    }
  }
  return !options.out.isEmpty();
}

}  // namespace

int runRenderSamples(int argc, char** argv) {
  // Nothing is shown: no display is needed.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QGuiApplication app(argc, argv);
  Options options;
  if (!parse(QGuiApplication::arguments(), options)) {
    std::fputs(usage, stderr);
    return 2;
  }
  if (!QDir().mkpath(options.out)) {
    logError(("could not create the folder " + options.out).toStdString());
    return 1;
  }
  Compositor compositor;
  const double scale = 1.0;
  int failures = 0;
  for (const SampleCase& sample : sampleCases(sampleDisplayPicture(), sampleCameraPicture())) {
    const FrameRef target = compositor.previewBuffer(scale);
    compositor.compose(sample.scene, sample.screen.get(), sample.camera.get(), scale, *target);
    QImage picture = target->image().copy();
    if (options.width > 0) {
      picture = picture.scaledToWidth(options.width, Qt::SmoothTransformation);
    }
    const QString path = QDir(options.out).filePath(sample.name + QStringLiteral(".png"));
    if (!picture.save(path)) {
      logError(("could not write " + path).toStdString());
      ++failures;
      continue;
    }
    std::printf("%s\n", path.toUtf8().constData());
  }
  return failures == 0 ? 0 : 1;
}

}  // namespace vorn
