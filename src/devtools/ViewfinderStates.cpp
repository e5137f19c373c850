// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/ViewfinderStates.h"

#include "model/Studio.h"
#include "devtools/SampleScenes.h"
#include "viewfinder/FrameView.h"

#include <QPainter>
#include <QPainterPath>

#include <functional>

namespace vorn {
namespace {

struct Scene {
  const char* name;
  QSizeF region;
  std::function<void(FrameState&)> set;
  double dim = 0.42;   // 0: not dimmed (the `me` layout)
  bool frame = true;   // the frame panel is shown
  ChipPlace chip = ChipPlace::above;
};

QImage draw(const QImage& desktop, Engine& engine, Studio& studio, const Scene& scene, bool compositor) {
  const QPointF at(300, 160);
  const QRectF hole(at, scene.region);
  QImage shot = desktop.copy(0, 0, 1000, 1100).convertToFormat(QImage::Format_ARGB32_Premultiplied);
  QPainter p(&shot);
  if (compositor && scene.dim > 0) {
    QPainterPath dim;
    dim.addRect(shot.rect());
    QPainterPath clear;
    if (scene.frame) clear.addRect(hole);
    p.fillPath(dim.subtracted(clear), QColor(0, 0, 0, int(scene.dim * 255)));
  }
  if (scene.frame) {
    FrameView view(engine, studio, nullptr);
    const QRectF panel = FrameZones::panel(hole, scene.chip, FrameView::chipWidth());
    view.resize(panel.size().toSize());
    view.setRegion(scene.region, scene.chip);
    FrameState state;
    state.phase = Phase::framing;
    state.points = 11;
    scene.set(state);
    // As the viewfinder does: without a compositor the edge band shows while it is grabbable.
    state.rail = !compositor && (state.hover || state.dragging);
    state.railInside = true;
    view.setState(state);
    const QPoint origin = panel.topLeft().toPoint();
    if (compositor) {
      view.render(&p, origin, QRegion(), QWidget::DrawChildren);
    } else {
      // Without a compositor the panel keeps only the pixels it draws.
      const QImage drawn = view.grab().toImage();
      p.drawImage(origin, drawn);
    }
  }
  return shot;
}

}  // namespace

std::vector<std::pair<QString, QImage>> viewfinderStates(Engine& engine, Studio& studio) {
  const QSizeF region(420, 746);
  const FrameHint body = *FrameZones::hint({FrameZones::Kind::body});
  const std::vector<Scene> scenes{
      {"framing", region, [](FrameState& s) { s.hint = FrameZones::firstRunHint(); }},
      {"hover", region, [&](FrameState& s) { s.hover = true; s.hint = body; s.gripHot = true; }},
      {"drag", region, [](FrameState& s) { s.dragging = true; s.hover = true; s.gripHot = true; s.ideal = 1.12; s.points = 8.5; }},
      {"safe-guides", region, [](FrameState& s) { s.safe = std::vector<double>{220 / 1920.0, 420 / 1920.0, 150 / 1080.0}; }},
      {"countdown-3", region, [](FrameState& s) { s.phase = Phase::countdown; s.countdown = 3; }},
      {"countdown-2", region, [](FrameState& s) { s.phase = Phase::countdown; s.countdown = 2; }},
      {"countdown-1", region, [](FrameState& s) { s.phase = Phase::countdown; s.countdown = 1; }},
      {"recording", region, [](FrameState& s) { s.phase = Phase::recording; }, 0.26},
      {"paused", region, [](FrameState& s) { s.phase = Phase::recording; s.paused = true; }, 0.26},
      {"recording-grabbable", region, [](FrameState& s) { s.phase = Phase::recording; s.hover = true; }, 0.26},
      {"suggestion-pulse", region, [](FrameState& s) { s.pulse = 1.0; }},
      {"suggestion-pulse-half", region, [](FrameState& s) { s.pulse = 0.5; }},
      {"narrow", QSizeF(120, 213), [](FrameState& s) { s.points = 30; }},
      {"too-small", QSizeF(600, 1066), [](FrameState& s) { s.points = 6.5; }},
      {"me-layout", region, [](FrameState&) {}, 0, false},
      {"chip-inside", QSizeF(520, 924), [](FrameState& s) { s.hint = FrameZones::firstRunHint(); }, 0.42, true,
       ChipPlace::inside},
  };
  const QImage desktop = sampleDisplayPicture().scaled(1920, 1080).convertToFormat(QImage::Format_ARGB32_Premultiplied);
  std::vector<std::pair<QString, QImage>> shots;
  for (const Scene& scene : scenes) {
    const QString name = QStringLiteral("viewfinder-") + QString::fromLatin1(scene.name);
    shots.emplace_back(name, draw(desktop, engine, studio, scene, true));
    shots.emplace_back(name + QStringLiteral("-plain"), draw(desktop, engine, studio, scene, false));
  }
  return shots;
}

}  // namespace vorn
