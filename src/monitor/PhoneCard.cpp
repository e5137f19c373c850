// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/PhoneCard.h"

#include "model/Studio.h"
#include "model/Geometry.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace vorn {
namespace {

struct Step {
  const char* mark;
  const char* title;
  const char* sentence;
};

constexpr Step kSteps[] = {
    {"▢", QT_TRANSLATE_NOOP("PhoneCard", "Frame it"),
     QT_TRANSLATE_NOOP("PhoneCard", "Drag the frame's edge over what you want to show.")},
    {"▯", QT_TRANSLATE_NOOP("PhoneCard", "See it"),
     QT_TRANSLATE_NOOP("PhoneCard", "This phone shows exactly what viewers will see.")},
    {"●", QT_TRANSLATE_NOOP("PhoneCard", "Roll"),
     QT_TRANSLATE_NOOP("PhoneCard", "Press Ctrl+Shift+9 to record, again to stop.")},
};

// Where the desktop keeps keys to itself (Wayland), a key of the user's own runs the toggle.
constexpr const char* kRollWithoutKey = QT_TRANSLATE_NOOP(
    "PhoneCard",
    "Press Space here to record, again to stop. For a key that works anywhere, bind the command "
    "vorn --toggle in your desktop's keyboard settings (GNOME: Settings → Keyboard → Custom "
    "Shortcuts; sway: bindsym).");

QLabel* label(const QString& text, int pixels, QFont::Weight weight, double opacity, QWidget* parent) {
  auto* l = new QLabel(text, parent);
  QFont font = l->font();
  font.setPixelSize(pixels);
  font.setWeight(weight);
  l->setFont(font);
  l->setProperty("vornPixels", pixels);
  l->setWordWrap(true);
  l->setStyleSheet(QStringLiteral("color: rgba(255,255,255,%1); background: transparent;").arg(int(opacity * 255)));
  return l;
}

// A line the card can do without where it has no room for it.
QLabel* detail(QLabel* l) {
  l->setProperty("vornDetail", true);
  return l;
}

}  // namespace

PhoneCard::PhoneCard(Kind kind, Studio& studio, QWidget* parent) : QFrame(parent), kind_(kind) {
  setObjectName(QStringLiteral("phoneCard"));
  setStyleSheet(QStringLiteral("#phoneCard { background: rgba(18,18,20,235); border-radius: 22px; }"));
  switch (kind) {
    case Kind::welcome: buildWelcome(studio); break;
    case Kind::camera: buildProblem(tr("Let Vorn use your camera"), studio.cameraProblem().value_or(QString())); break;
    case Kind::microphone:
      buildProblem(tr("Vorn can't hear you yet"),
                          tr("%1 sends only silence. Check that it isn't muted in the sound settings, "
                                         "or choose another microphone under More.")
                              .arg(studio.micName().isEmpty() ? tr("The microphone") : studio.micName()));
      break;
  }
}

void PhoneCard::buildWelcome(Studio& studio) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(22, 26, 22, 22);
  column->setSpacing(10);
  setAccessibleName(tr("Welcome"));
  column->addWidget(label(tr("Welcome to Vorn"), 22, QFont::Bold, 1, this));
  column->addWidget(detail(label(tr("Record your screen for the phone."), 13, QFont::Normal, 0.7, this)));
  column->addSpacing(8);
  for (const Step& step : kSteps) {
    auto* row = new QHBoxLayout;
    row->setSpacing(10);
    QLabel* mark = label(QString::fromUtf8(step.mark), 16, QFont::Bold, 0.9, this);
    mark->setFixedWidth(20);
    mark->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    row->addWidget(mark);
    auto* words = new QVBoxLayout;
    words->setSpacing(2);
    words->addWidget(label(tr(step.title), 14, QFont::DemiBold, 1, this));
    const bool roll = &step == &kSteps[std::size(kSteps) - 1];
    const char* sentence = roll && !studio.recordKeyHeld() ? kRollWithoutKey : step.sentence;
    words->addWidget(detail(label(tr(sentence), 12, QFont::Normal, 0.7, this)));
    row->addLayout(words, 1);
    column->addLayout(row);
  }
  column->addStretch(1);
  auto* start = new QPushButton(tr("Start"), this);
  start->setDefault(true);
  start->setAccessibleDescription(tr("Closes the welcome; frame what to record next"));
  // A click leaves the keyboard with the window: space is the studio's, not this button's.
  start->setFocusPolicy(Qt::TabFocus);
  start->setStyleSheet(QStringLiteral(
      "QPushButton { background: white; color: black; border-radius: 16px; padding: 7px; font-weight: 600; }"
      "QPushButton:focus { border: 2px solid rgb(120,170,255); }"));
  connect(start, &QPushButton::clicked, this, [&studio] { studio.setWelcomed(true); });
  column->addWidget(start);
}

void PhoneCard::buildProblem(const QString& title, const QString& detail) {
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(22, 26, 22, 22);
  column->setSpacing(10);
  column->addStretch(1);
  setAccessibleName(title);
  setAccessibleDescription(detail);
  column->addWidget(label(title, 19, QFont::Bold, 1, this));
  QLabel* text = label(detail, 13, QFont::Normal, 0.75, this);
  text->setTextInteractionFlags(Qt::TextSelectableByMouse);  // a command in it can be copied
  column->addWidget(text);
  column->addStretch(1);
}

void PhoneCard::setTextScale(double scale) {
  for (QLabel* l : findChildren<QLabel*>()) {
    QFont font = l->font();
    font.setPixelSize(std::max(8, int(std::lround(l->property("vornPixels").toInt() * scale))));
    l->setFont(font);
  }
  const int side = int(std::lround(22 * scale));
  layout()->setContentsMargins(side, int(std::lround(26 * scale)), side, side);
  layout()->activate();
}

// Smaller text first; on a phone too small even for that, the explanations go and the titles
// and the button stay.
void PhoneCard::fitText() {
  for (const bool details : {true, false}) {
    for (QLabel* l : findChildren<QLabel*>())
      if (l->property("vornDetail").toBool()) l->setVisible(details);
    for (double scale = 1.0; scale >= 0.45; scale -= 0.1) {
      setTextScale(scale);
      if (heightForWidth(width()) <= height()) return;
    }
  }
}

std::optional<PhoneCard::Kind> PhoneCard::due(const Studio& studio) {
  if (!studio.welcomed()) return Kind::welcome;
  // While framing only: a take under way, and the take in review, are never covered up.
  if (studio.phase() != Phase::framing) return std::nullopt;
  const Prefs& prefs = studio.prefs();
  if (!studio.cameraAccess() && prefs.cameraOn && Geometry::slots(prefs).camera) return Kind::camera;
  if (prefs.micOn && !studio.micAccess()) return Kind::microphone;
  return std::nullopt;
}

}  // namespace vorn
