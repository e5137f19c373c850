// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/IslandView.h"

#include "engine/Engine.h"
#include "model/Studio.h"
#include "monitor/StatusText.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPainterPath>
#include <QToolButton>

#include <cmath>

namespace vorn {
namespace {

constexpr double kPillHeight = 30, kPillWide = 196, kPillNarrow = 184, kButton = 28;
constexpr double kWeights[] = {0.45, 0.8, 1.0, 0.7, 0.5};
const QColor kGreen(52, 199, 89);

QToolButton* roundButton(const QString& glyph, const QString& label, const QString& description, QWidget* parent) {
  auto* b = new QToolButton(parent);
  b->setText(glyph);
  b->setToolTip(label);
  b->setAccessibleName(label);
  b->setAccessibleDescription(description);
  b->setFixedSize(int(kButton), int(kButton));
  b->setFocusPolicy(Qt::NoFocus);  // the island never takes the keyboard from the recorded app
  b->setStyleSheet(QStringLiteral("QToolButton { background: rgba(20,20,22,230); color: white; border: none;"
                                  " border-radius: 14px; font: 13px; } QToolButton:hover { background: rgb(60,60,64); }"));
  b->hide();
  return b;
}

QString islandStatus(const Studio& studio, double now) {
  switch (studio.phase()) {
    case Phase::finishing: return QCoreApplication::translate("IslandView", "Saving");
    case Phase::countdown: return QCoreApplication::translate("IslandView", "Rolling in %1").arg(studio.countdown());
    default: return elapsedText(studio.elapsed(now));
  }
}

}  // namespace

std::array<double, 5> levelBarHeights(double level, bool active) {
  std::array<double, 5> heights{};
  for (size_t i = 0; i < heights.size(); ++i) {
    const double h = 14 * kWeights[i];
    heights[i] = std::max(3.0, active && level >= 0.2 ? std::min(level, 1.0) * h : 0.2 * h);
  }
  return heights;
}

IslandView::IslandView(Studio& studio, QWidget* parent) : QWidget(parent), studio_(studio) {
  setFixedSize(size);
  setAttribute(Qt::WA_TranslucentBackground);
  restart_ = roundButton(QStringLiteral("↺"), tr("Start over"),
                         tr("Starts the take again from the countdown"), this);
  pause_ = roundButton(QStringLiteral("❚❚"), tr("Pause"), tr("Pauses or resumes the take; P"), this);
  stop_ = roundButton(QStringLiteral("■"), tr("Stop"), tr("Ends the take and saves it"), this);
  up_ = roundButton(QStringLiteral("⌃"), tr("Back a line"), tr("Scrolls the script back a line"), this);
  down_ = roundButton(QStringLiteral("⌄"), tr("On a line"), tr("Scrolls the script on a line"), this);
  for (QToolButton* b : {up_, down_}) b->setFixedSize(22, 22);
  connect(restart_, &QToolButton::clicked, this, [this] { if (engine_) engine_->recording().restart(); });
  connect(pause_, &QToolButton::clicked, this, [this] { if (engine_) engine_->recording().togglePause(); });
  connect(stop_, &QToolButton::clicked, this, [this] { if (engine_) engine_->recording().stop(); });
  connect(up_, &QToolButton::clicked, this, [this] { nudge_ -= 30; });
  connect(down_, &QToolButton::clicked, this, [this] { nudge_ += 30; });
  connect(&studio_, &Studio::phaseChanged, this, [this] {
    if (studio_.phase() == Phase::countdown) nudge_ = 0;  // a new take starts at the top
  });
}

QRectF IslandView::pillRect() const {
  const double width = look_.narrow ? kPillNarrow : kPillWide;
  return {size.width() / 2.0 - width / 2, 6, width, kPillHeight};
}

QRectF IslandView::prompterRect() const { return {60, 48, 520, 260}; }

IslandLook IslandView::lookAt(double now) const {
  const Phase phase = studio_.phase();
  const Prefs& prefs = studio_.prefs();
  IslandLook look;
  look.status = islandStatus(studio_, now);
  look.narrow = phase == Phase::countdown;
  look.micOff = phase == Phase::recording && !studio_.recordingHasMic();
  look.barsActive = prefs.micOn && studio_.micAccess();
  const std::array<double, 5> heights = levelBarHeights(studio_.micLevel(), look.barsActive);
  for (size_t i = 0; i < heights.size(); ++i) look.bars[i] = int(std::lround(heights[i] * 10));
  look.controls = phase == Phase::recording;
  look.paused = studio_.isPaused();
  look.prompter = (phase == Phase::countdown || phase == Phase::recording) && !prefs.script.trimmed().isEmpty();
  return look;
}

double IslandView::prompterOffset(double now) const {
  const double elapsed = studio_.phase() == Phase::recording ? studio_.elapsed(now) : 0;
  return Prompter::offset(elapsed, studio_.prefs().prompterSpeed, nudge_);
}

bool IslandView::tick(double now) {
  now_ = now;
  bool painted = false;
  const IslandLook look = lookAt(now);
  if (!(look == look_)) {
    look_ = look;
    placeControls();
    update(pillRect().adjusted(-60, -4, 80, 4).toAlignedRect());
    painted = true;
  }
  const double offset = look_.prompter ? prompterOffset(now) : -1;
  if (offset != offset_) {
    offset_ = offset;
    update(prompterRect().toAlignedRect());
    painted = true;
  }
  return painted;
}

void IslandView::placeControls() {
  const QRectF pill = pillRect();
  const int y = int(pill.center().y() - kButton / 2);
  restart_->move(int(pill.left() - 10 - kButton), y);
  pause_->move(int(pill.right() + 10), y);
  stop_->move(int(pill.right() + 18 + kButton), y);
  pause_->setText(look_.paused ? QStringLiteral("▶") : QStringLiteral("❚❚"));
  pause_->setToolTip(look_.paused ? tr("Resume") : tr("Pause"));
  pause_->setAccessibleName(pause_->toolTip());
  for (QToolButton* b : {restart_, pause_, stop_}) b->setVisible(look_.controls);
  const QRectF area = prompterRect();
  up_->move(int(area.right() - 32), int(area.top() + 10));
  down_->move(int(area.right() - 32), int(area.bottom() - 32));
  for (QToolButton* b : {up_, down_}) b->setVisible(look_.prompter);
}

QRegion IslandView::drawnRegion() const {
  const QRectF pill = pillRect();
  QRegion region(pill.toAlignedRect());
  if (look_.controls) region += QRect(int(pill.left() - 10 - kButton), int(pill.top()), int(pill.width() + 2 * (10 + kButton) + 8 + kButton), int(kPillHeight));
  if (look_.prompter) region += prompterRect().toAlignedRect();
  return region;
}

void IslandView::paintEvent(QPaintEvent*) {
  ++paints_;
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  paintPill(p);
  if (look_.prompter) prompter_.paint(p, prompterRect(), studio_.prefs().script, std::max(0.0, offset_), devicePixelRatioF());
}

void IslandView::paintPill(QPainter& p) {
  const QRectF pill = pillRect();
  p.setPen(Qt::NoPen);
  p.setBrush(QColor(10, 10, 12, 240));
  p.drawRoundedRect(pill, 15, 15);
  QFont font;
  font.setPixelSize(14);
  font.setWeight(QFont::DemiBold);
  p.setFont(font);
  p.setPen(look_.paused ? QColor(255, 200, 90) : QColor(Qt::white));
  p.drawText(pill.adjusted(16, 0, -40, 0), Qt::AlignVCenter | Qt::AlignLeft, look_.status);
  const double right = pill.right() - 14;
  if (look_.micOff) {
    p.setPen(QPen(QColor(255, 255, 255, 200), 1.6, Qt::SolidLine, Qt::RoundCap));
    const QPointF c(right - 6, pill.center().y());
    p.drawRoundedRect(QRectF(c.x() - 2.5, c.y() - 6, 5, 9), 2.5, 2.5);
    p.drawLine(c + QPointF(-5, -6), c + QPointF(5, 6));
    return;
  }
  QColor bar = kGreen;
  bar.setAlphaF(look_.barsActive ? 0.95f : 0.35f);
  p.setPen(Qt::NoPen);
  p.setBrush(bar);
  for (size_t i = 0; i < look_.bars.size(); ++i) {
    const double h = look_.bars[i] / 10.0;
    p.drawRoundedRect(QRectF(right - 24 + double(i) * 5, pill.center().y() - h / 2, 2.5, h), 1.25, 1.25);
  }
}

}  // namespace vorn
