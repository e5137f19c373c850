// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/IslandStates.h"

#include "base/Clock.h"
#include "model/Studio.h"
#include "monitor/IslandView.h"
#include "devtools/SampleScenes.h"

#include <QPainter>

#include <functional>

namespace vorn {
namespace {

const QString kScript = QStringLiteral(
    "Here is the one thing I wish I had known before I started editing my own videos. "
    "Most of the work happens before you press record: frame the part of the screen that "
    "matters, say the point in the first three seconds, and cut everything that doesn't "
    "move the story forward. Then record it again, faster. That's it. Try it on your next "
    "take and see how much shorter your edit gets.");

QImage over(const QImage& desktop, IslandView& view) {
  QImage shot = desktop.copy(640, 0, 640, 320).convertToFormat(QImage::Format_ARGB32_Premultiplied);
  QPainter p(&shot);
  view.render(&p, QPoint(), QRegion(), QWidget::DrawChildren);
  return shot;
}

}  // namespace

std::vector<std::pair<QString, QImage>> islandStates(Studio& studio) {
  const QImage desktop = sampleDisplayPicture().scaled(1920, 1080).convertToFormat(QImage::Format_ARGB32_Premultiplied);
  IslandView view(studio, nullptr);
  const double now = mediaTime();
  const double speed = studio.prefs().prompterSpeed > 0 ? studio.prefs().prompterSpeed : 30;
  const auto recordingFor = [&](double seconds) {
    studio.setPhase(Phase::recording);
    studio.setPausedAt(std::nullopt);
    studio.setPausedTotal(0);
    studio.setRecordStart(now - seconds);
  };
  struct Scene {
    const char* name;
    std::function<void()> set;
  };
  const Scene scenes[] = {
      {"countdown", [&] { studio.setPhase(Phase::countdown); studio.setCountdown(3); }},
      {"recording-loud", [&] { recordingFor(83); studio.setRecordingHasMic(true); studio.setMicLevel(0.8f); }},
      {"recording-silent", [&] { studio.setMicLevel(0); }},
      {"recording-no-mic", [&] { studio.setRecordingHasMic(false); }},
      {"paused", [&] { studio.setRecordingHasMic(true); studio.setPausedAt(now); }},
      {"finishing", [&] { studio.setPausedAt(std::nullopt); studio.setPhase(Phase::finishing); }},
      {"prompter-start", [&] {
         studio.updatePrefs([&](Prefs& p) { p.script = kScript; p.prompterSpeed = speed; });
         recordingFor(0.5);
       }},
      {"prompter-middle", [&] { recordingFor(0.8 + 150 / speed); }},
      {"prompter-end", [&] { recordingFor(0.8 + 400 / speed); }},
  };
  std::vector<std::pair<QString, QImage>> shots;
  for (const Scene& scene : scenes) {
    scene.set();
    view.tick(now);
    shots.emplace_back(QStringLiteral("island-") + QString::fromLatin1(scene.name), over(desktop, view));
  }
  studio.updatePrefs([](Prefs& p) { p.script.clear(); });
  return shots;
}

}  // namespace vorn
