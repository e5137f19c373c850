// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/MonitorWindow.h"

#include "engine/Engine.h"
#include "engine/WorkArea.h"
#include "model/Settings.h"
#include "model/Studio.h"
#include "desktop/OverlayPanel.h"
#include "monitor/CompactBar.h"
#include "monitor/DragStart.h"
#include "monitor/MonitorLayout.h"
#include "monitor/MonitorPlacement.h"
#include "monitor/PhoneView.h"
#include "monitor/ReviewBar.h"
#include "reels/ReelMaker.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QWindow>

namespace vorn {
namespace {

QRect toQt(const Rect& r) { return QRectF(r.x, r.y, r.width, r.height).toAlignedRect(); }

// The part of the display that windows may use (without panels and docks).
QRect visibleArea(const DisplayInfo& display) { return toQt(workAreaOf(display)); }

// Where the monitor was last, kept between runs; it opens there again while that still fits.
const QString kPlaceKey = QStringLiteral("monitorPlace");

// Wayland's clients cannot fade their windows: there they change at once.
bool windowsFade() { return QGuiApplication::platformName() != QLatin1String("wayland"); }

std::optional<QRect> savedPlace() {
  const QRect place = userSettings().value(kPlaceKey).toRect();
  return place.isValid() ? std::optional(place) : std::nullopt;
}

}  // namespace

MonitorWindow::MonitorWindow(Studio& studio)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint),
      studio_(studio),
      fade_(this, "windowOpacity") {
  setWindowTitle(QStringLiteral("Vorn"));
  OverlayPanel::keepUndimmed(this);
  placed_ = savedPlace();
  setAttribute(Qt::WA_TranslucentBackground);
  setFocusPolicy(Qt::StrongFocus);
  setToolTip(tr("Drag to move"));
  setAccessibleName(tr("Vorn studio"));
  setAccessibleDescription(tr("The phone preview and the studio's controls. Space records or stops, P pauses, "
                              "the arrow keys move the capture frame."));

  const TrafficLights::Actions lights{[this] { if (engine_) engine_->close(); },
                                      [this] { if (engine_) engine_->setCompact(!studio_.compact()); },
                                      [this] { if (engine_) engine_->zoomFrame(); }};
  const auto record = [this] { if (engine_) engine_->primaryAction(); };

  full_ = new QWidget(this);
  (new TrafficLights(studio_, lights, full_))->setGeometry(18, 13, 60, 14);
  phone_ = new PhoneView(studio_, full_);
  recordButton_ = miniRecordButton(record, full_);
  recordButton_->setFocusPolicy(Qt::TabFocus);
  recordButton_->adjustSize();
  underPhone_ = recordButton_;
  reviewBar_ = new ReviewBar(studio_, full_);
  reviewBar_->hide();

  compactBar_ = new CompactBar(studio_, lights, record, this);
  compactBar_->setGeometry(QRect(QPoint(), MonitorPlacement::compactSize));
  compactBar_->hide();

  clock_.setInterval(250);
  connect(&clock_, &QTimer::timeout, this, [this] {
    compactBar_->refresh();
    phone_->update();
  });
  connect(&studio_, &Studio::phaseChanged, this, [this] { phaseChanged(); });
  for (auto signal : {&Studio::countdownChanged, &Studio::pausedAtChanged})
    connect(&studio_, signal, compactBar_, &CompactBar::refresh);
  resize(MonitorPlacement::fullSize);
  arrange();
}

void MonitorWindow::attach(Engine& engine) {
  engine_ = &engine;
  reviewBar_->attach(engine);
  phone_->player().setSoundServer(engine.soundServer());
  phone_->setReviewSource([this] { return reviewBar_->item(); });
  if (ReelMaker* reels = engine.reels())
    for (auto signal : {&ReelMaker::jobsChanged, &ReelMaker::showReelChanged})
      connect(reels, signal, phone_, [this] { phone_->followReview(); });
  winId();  // the native window exists from here on
}

MonitorWindow::~MonitorWindow() = default;

void MonitorWindow::setDeck(QWidget* deck) {
  underPhone_->hide();
  underPhone_ = deck;
  deck->setParent(full_);
  arrange();
  phaseChanged();
}

void MonitorWindow::arrange() {
  const MonitorLayout::Places places = MonitorLayout::arrange(size());
  full_->setGeometry(rect());
  phone_->setScale(places.phoneScale);
  phone_->move(places.phone);
  reviewBar_->setGeometry(places.under);
  if (underPhone_ == recordButton_)
    recordButton_->move(places.under.center().x() - recordButton_->width() / 2, places.under.top());
  else
    underPhone_->setGeometry(places.under);
}

void MonitorWindow::phaseChanged() {
  compactBar_->refresh();
  const bool review = studio_.phase() == Phase::review;
  reviewBar_->setVisible(review);
  underPhone_->setVisible(!review);
  if (studio_.phase() == Phase::recording) clock_.start();
  else clock_.stop();
  if (studio_.phase() == Phase::countdown) keepOffFrame();
  keepAbove(!review);
}

// Above other windows while framing and recording, where it stands in for the phone; an
// ordinary window in review, so that what the user opens from it (the file manager, a
// browser to post the take) comes in front of it.
void MonitorWindow::keepAbove(bool above) {
  QWindow* window = windowHandle();
  if (!window || window->flags().testFlag(Qt::WindowStaysOnTopHint) == above) return;
  // On the native window: the widget's own flags would hide and re-create it.
  window->setFlag(Qt::WindowStaysOnTopHint, above);
}

// Where the takes cannot leave the monitor out, it moves off the frame for the take.
void MonitorWindow::keepOffFrame() {
  if (!engine_ || engine_->ownWindowsLeftOut() || !isVisible()) return;
  const Rect& screen = engine_->screen().rect;
  const Rect& home = engine_->home();
  const QRectF frame(screen.x + home.x, screen.y + home.y, home.width, home.height);
  if (!frameGeometry().intersects(frame.toAlignedRect())) return;
  const QRect visible = visibleArea(engine_->screen());
  const QRect full = MonitorPlacement::full(std::nullopt, visible, frame);
  setGeometry(studio_.compact() ? MonitorPlacement::form(true, full, std::nullopt, visible) : full);
}

void MonitorWindow::show(const DisplayInfo& screen, const Rect& avoid) {
  const QRect visible = visibleArea(screen);
  // Where the takes cannot leave the monitor out, it never opens over the frame.
  const bool keepOff = engine_ && !engine_->ownWindowsLeftOut();
  const QRect full = MonitorPlacement::full(placed_, visible, QRectF(avoid.x, avoid.y, avoid.width, avoid.height),
                                            keepOff);
  showForm(studio_.compact());
  setGeometry(studio_.compact() ? MonitorPlacement::form(true, full, placed_, visible) : full);
  if (!isVisible() && windowsFade()) setWindowOpacity(0);
  QWidget::show();
  raise();
  fadeTo(1, 0.45);
}

void MonitorWindow::hide() {
  if (!studio_.compact()) {
    placed_ = geometry();
    userSettings().setValue(kPlaceKey, *placed_);
  }
  phone_->stopPlaying();
  fadeTo(0, 0.2, [this] {
    QWidget::hide();
    phone_->showFrame({});
  });
}

void MonitorWindow::changeForm(bool compact, const DisplayInfo& screen) {
  if (!isVisible()) {
    showForm(compact);
    return resize(compact ? MonitorPlacement::compactSize : MonitorPlacement::fullSizeOn(visibleArea(screen)));
  }
  if (compact) placed_ = geometry();
  const QRect next = MonitorPlacement::form(compact, geometry(), placed_, visibleArea(screen));
  fadeTo(0, 0.12, [this, compact, next] {
    showForm(compact);
    setGeometry(next);
    const Phase phase = studio_.phase();
    if (phase == Phase::countdown || phase == Phase::recording) keepOffFrame();
    fadeTo(1, 0.22);
  });
}

void MonitorWindow::showForm(bool compact) {
  full_->setVisible(!compact);
  compactBar_->setVisible(compact);
  compactBar_->refresh();
  update();
}

void MonitorWindow::fadeTo(double opacity, double seconds, std::function<void()> then) {
  fade_.stop();
  disconnect(fadeDone_);
  if (!windowsFade()) {
    if (then) then();
    return;
  }
  fade_.setDuration(int(seconds * 1000));
  fade_.setStartValue(windowOpacity());
  fade_.setEndValue(opacity);
  fade_.setEasingCurve(QEasingCurve::InOutQuad);
  if (then) fadeDone_ = connect(&fade_, &QPropertyAnimation::finished, this, std::move(then));
  fade_.start();
}

void MonitorWindow::showFrame(const ConstFrameRef& frame) { phone_->showFrame(frame); }

std::optional<Rect> MonitorWindow::shownAt() const {
  if (!isVisible()) return std::nullopt;
  const QRect r = frameGeometry();
  return Rect{double(r.x()), double(r.y()), double(r.width()), double(r.height())};
}

int MonitorWindow::previewWidth() const {
  return int(PhoneView::screenSize.width() * phone_->scale() * devicePixelRatioF());
}

void MonitorWindow::bringToFront() {
  QWidget::show();
  raise();
  activateWindow();
  // The window itself, not one of its buttons, takes the keys: space is the studio's.
  setFocus(Qt::ActiveWindowFocusReason);
}

double MonitorWindow::cornerRadius() const { return studio_.compact() ? 20 : 26; }

// Opaque: whatever lies behind the window must not show through its text and buttons.
void MonitorWindow::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  p.setPen(QPen(QColor(255, 255, 255, 28), 1));
  p.setBrush(QColor(22, 22, 24));
  p.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius(), cornerRadius());
}

// Without a compositing manager the transparent corners would show black: the window is also
// shaped to its body, a pixel wider so that a compositor still blends the smoothed edge.
void MonitorWindow::resizeEvent(QResizeEvent*) {
  QPainterPath body;
  body.addRoundedRect(QRectF(rect()).adjusted(-0.5, -0.5, 0.5, 0.5), cornerRadius() + 0.5, cornerRadius() + 0.5);
  setMask(QRegion(body.toFillPolygon().toPolygon()));
  if (!studio_.compact()) arrange();
}

void MonitorWindow::keyPressEvent(QKeyEvent* event) {
  if (engine_ && engine_->handleKey(event->key(), event->modifiers())) return event->accept();
  QWidget::keyPressEvent(event);
}

void MonitorWindow::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton) pressedAt_ = event->position();
}

// The window manager's move starts only while the button is still down: handed a click, it
// would go on moving the window, holding the keyboard, until Escape.
void MonitorWindow::mouseMoveEvent(QMouseEvent* event) {
  if (!pressedAt_ || !event->buttons().testFlag(Qt::LeftButton) || !pastDragDistance(*pressedAt_, event->position()))
    return;
  pressedAt_.reset();
  if (windowHandle()) windowHandle()->startSystemMove();
}

void MonitorWindow::mouseReleaseEvent(QMouseEvent*) { pressedAt_.reset(); }

}  // namespace vorn
