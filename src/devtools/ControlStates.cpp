// SPDX-License-Identifier: GPL-3.0-or-later
#include "devtools/ControlStates.h"

#include "controls/ControlDeck.h"
#include "controls/MoreMenu.h"
#include "controls/ScriptEditor.h"
#include "model/Studio.h"

#include <QPainter>
#include <QPlainTextEdit>

namespace vorn {
namespace {

// On the monitor's dark body, as the deck shows there (it has no background of its own).
QImage onMonitor(QWidget& widget) {
  QImage image(widget.size() + QSize(32, 32), QImage::Format_ARGB32_Premultiplied);
  image.fill(QColor(22, 22, 24));
  QPainter painter(&image);
  widget.render(&painter, QPoint(16, 16), QRegion(), QWidget::DrawChildren);
  return image;
}

QImage menuShot(QMenu& menu) {
  menu.adjustSize();
  return menu.grab().toImage();
}

}  // namespace

std::vector<std::pair<QString, QImage>> controlStates(Engine& engine, Studio& studio) {
  std::vector<std::pair<QString, QImage>> shots;
  ControlDeck deck(studio, engine, nullptr);
  deck.resize(300, 200);
  for (const auto& [phase, name] : {std::pair{Phase::framing, "framing"}, {Phase::countdown, "countdown"},
                                     {Phase::recording, "recording"}, {Phase::finishing, "finishing"}}) {
    studio.setPhase(phase);
    shots.emplace_back(QStringLiteral("deck-") + QString::fromLatin1(name), onMonitor(deck));
  }
  studio.setPhase(Phase::framing);
  studio.updatePrefs([](Prefs& p) { p.layout = Layout::me; });
  shots.emplace_back(QStringLiteral("deck-me-layout"), onMonitor(deck));
  studio.updatePrefs([](Prefs& p) { p.layout = Layout::screen; });
  studio.updatePrefs([](Prefs& p) { p.cameraOn = p.follow = false; });
  shots.emplace_back(QStringLiteral("deck-switches-off"), onMonitor(deck));
  studio.updatePrefs([](Prefs& p) { p.cameraOn = p.follow = true; });

  MoreMenu& more = *deck.moreMenu();
  more.rebuild();
  shots.emplace_back(QStringLiteral("deck-more-menu"), menuShot(more));
  for (QAction* action : more.actions())
    if (QMenu* sub = action->menu())
      shots.emplace_back(QStringLiteral("deck-more-") + sub->title().toLower().replace(QLatin1Char(' '), QLatin1Char('-')),
                         menuShot(*sub));

  studio.updatePrefs([](Prefs& p) { p.script = QStringLiteral("Here is the one thing I wish I had known before I started."); });
  ScriptEditor& editor = *deck.scriptEditor();
  editor.text()->setPlainText(studio.prefs().script);
  shots.emplace_back(QStringLiteral("deck-teleprompter-editor"), editor.grab().toImage());
  studio.updatePrefs([](Prefs& p) { p.script.clear(); });
  return shots;
}

}  // namespace vorn
