// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/MonitorStates.h"

#include "base/Clock.h"
#include "model/Studio.h"
#include "monitor/CompactBar.h"
#include "monitor/MonitorPlacement.h"
#include "monitor/MonitorWindow.h"
#include "monitor/PhoneView.h"
#include "monitor/ReviewBar.h"
#include "render/Compositor.h"
#include "devtools/SampleScenes.h"
#include "model/Geometry.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QPainter>

namespace vorn {
namespace {

// The window over a plain desktop grey, as a user would see it.
QImage shot(QWidget& window) {
  const QPixmap drawn = window.grab();
  QImage image(drawn.size() + QSize(40, 40), QImage::Format_ARGB32_Premultiplied);
  image.fill(QColor(70, 74, 80));
  QPainter(&image).drawPixmap(20, 20, drawn);
  return image;
}

ConstFrameRef composed(const SampleCase& sample, double scale) {
  static Compositor compositor;
  FrameRef frame = compositor.previewBuffer(scale);
  compositor.compose(sample.scene, sample.screen.get(), sample.camera.get(), scale, *frame);
  return frame;
}

// The pointer resting on the camera bubble.
void hoverPhone(PhoneView& phone, const Prefs& prefs) {
  const QPointF at(PhoneView::bezel + prefs.bubbleX * PhoneView::screenSize.width(),
                   PhoneView::bezel + prefs.bubbleY * PhoneView::screenSize.height());
  QMouseEvent move(QEvent::MouseMove, at, phone.mapToGlobal(at), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
  QCoreApplication::sendEvent(&phone, &move);
}

// The review bar at every stage of a reel job, the last one with a long headline and caption.
void reviewBarStates(MonitorWindow& monitor, Studio& studio, std::vector<std::pair<QString, QImage>>& shots) {
  studio.setPhase(Phase::review);
  ReelJob job;
  job.duration = 42;
  const std::pair<const char*, ReelStage> stages[] = {
      {"waiting", ReelStage::waiting()},     {"listening", ReelStage::listening()},
      {"story", ReelStage::story()},         {"rendering", ReelStage::rendering(0.62)},
      {"failed", ReelStage::failed(QStringLiteral("No voice in this take, so there's no story to cut."))},
      {"ready", ReelStage::ready()}};
  for (const auto& [name, stage] : stages) {
    job.stage = stage;
    if (stage.kind == ReelStage::Case::ready) {
      job.video = QUrl::fromLocalFile(QStringLiteral("/videos/Vorn/Reels/take · Reel.mp4"));
      job.headline = {QStringLiteral("How I cut my editing time in half"), QStringLiteral("with one rule I learned too late")};
      job.caption = QStringLiteral("Most of the work happens before you press record. Frame what matters, say the point in "
                                   "the first three seconds, and cut everything else. #editing #creator #workflow");
      job.flags = {QStringLiteral("Quiet audio in places")};
      job.brain = QStringLiteral("claude");
    }
    monitor.reviewBar()->present(job);
    shots.emplace_back(QStringLiteral("monitor-review-") + QString::fromLatin1(name), shot(monitor));
  }
  // On a screen 720 points high (1080 pixels at 150 %) the phone shrinks; the bar stays whole.
  monitor.resize(MonitorPlacement::fullSizeOn(QRect(0, 0, 1920, 720)));
  shots.emplace_back(QStringLiteral("monitor-review-ready-short-screen"), shot(monitor));
  monitor.resize(MonitorPlacement::fullSize);
  monitor.reviewBar()->present(std::nullopt);
  shots.emplace_back(QStringLiteral("monitor-review-no-reel"), shot(monitor));
}

}  // namespace

std::vector<std::pair<QString, QImage>> monitorStates(Studio& studio) {
  std::vector<std::pair<QString, QImage>> shots;
  MonitorWindow monitor(studio);
  const double scale = monitor.previewWidth() / Geometry::canvasWidth;
  const std::vector<SampleCase> cases = sampleCases(sampleDisplayPicture(), sampleCameraPicture());

  studio.setWelcomed(false);
  studio.setPhase(Phase::framing);
  monitor.showFrame(composed(cases.front(), scale));
  shots.emplace_back(QStringLiteral("monitor-welcome"), shot(monitor));
  studio.setWelcomed(true);
  studio.setCameraProblem(QStringLiteral("No camera is connected. Plug one in and Vorn picks it up."));
  shots.emplace_back(QStringLiteral("monitor-camera-card"), shot(monitor));
  studio.setCameraProblem(std::nullopt);
  studio.setMicName(QStringLiteral("USB Microphone"));
  studio.setMicAccess(false);
  shots.emplace_back(QStringLiteral("monitor-microphone-card"), shot(monitor));
  studio.setMicAccess(true);

  for (const SampleCase& sample : cases) {
    const std::string layout = sample.name.section(QLatin1Char('-'), 0, 0).toStdString();
    const std::string style = sample.name.section(QLatin1Char('-'), 1).toStdString();
    studio.updatePrefs([&](Prefs& p) {
      p.layout = fromRawValue<Layout>(layout).value_or(Layout::screen);
      p.style = fromRawValue<FrameStyle>(style).value_or(FrameStyle::bleed);
    });
    monitor.showFrame(composed(sample, scale));
    for (const auto& [platform, name] : EnumCases<Platform>::cases) {
      studio.updatePrefs([platform = platform](Prefs& p) { p.platform = platform; });
      shots.emplace_back(QStringLiteral("monitor-") + sample.name + '-' + QString::fromLatin1(name.data(), int(name.size())), shot(monitor));
    }
  }

  // The handles: the pointer over the bubble outlines it; the split shows its divider's grip.
  studio.updatePrefs([](Prefs& p) {
    p = Prefs{};
    p.platform = Platform::none;
    p.layout = Layout::screen;
  });
  monitor.showFrame(composed(cases.front(), scale));
  hoverPhone(*monitor.phone(), studio.prefs());
  shots.emplace_back(QStringLiteral("monitor-handles-bubble"), shot(monitor));
  studio.updatePrefs([](Prefs& p) { p.layout = Layout::split; });
  monitor.showFrame(composed(cases[2], scale));  // split, bleed
  shots.emplace_back(QStringLiteral("monitor-handles-divider"), shot(monitor));

  studio.updatePrefs([](Prefs& p) {
    p = Prefs{};
    p.platform = Platform::none;
  });
  monitor.showFrame(composed(cases.front(), scale));
  const std::pair<const char*, std::function<void()>> phases[] = {
      {"countdown", [&] { studio.setPhase(Phase::countdown); studio.setCountdown(2); }},
      {"recording", [&] { studio.setPhase(Phase::recording); studio.setRecordStart(mediaTime() - 83); }},
      {"paused", [&] { studio.setPausedAt(mediaTime()); }},
      {"finishing", [&] { studio.setPausedAt(std::nullopt); studio.setPhase(Phase::finishing); }},
      {"review", [&] { studio.setPhase(Phase::review); }},
      {"toast", [&] { studio.setPhase(Phase::framing); studio.setToast(QStringLiteral("Too short, discarded")); }},
      {"toast-long", [&] {
         studio.setToast(QStringLiteral("Recording without sound: Vorn can't use the microphone"));
       }},
  };
  for (const auto& [name, enter] : phases) {
    enter();
    shots.emplace_back(QStringLiteral("monitor-") + QString::fromLatin1(name), shot(monitor));
  }
  studio.setToast(std::nullopt);
  reviewBarStates(monitor, studio, shots);

  studio.setCompact(true);
  monitor.changeForm(true, DisplayInfo{});
  for (const Phase phase : {Phase::framing, Phase::recording}) {
    studio.setPhase(phase);
    monitor.compactBar()->refresh();
    shots.emplace_back(QStringLiteral("monitor-compact-") + (phase == Phase::framing ? "ready" : "recording"),
                       shot(monitor));
  }
  studio.setCompact(false);
  studio.setPhase(Phase::idle);
  return shots;
}

}  // namespace vorn
