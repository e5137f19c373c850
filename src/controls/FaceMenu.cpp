// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/FaceMenu.h"

#include "controls/MenuLook.h"
#include "model/Studio.h"

#include <QActionGroup>

namespace vorn {
namespace {

struct Choice {
  FaceLook look;
  const char* label;
  const char* help;
};

constexpr Choice kChoices[] = {
    {FaceLook::off, QT_TRANSLATE_NOOP("FaceMenu", "Off"),
     QT_TRANSLATE_NOOP("FaceMenu", "Reels show your face as the camera saw it")},
    {FaceLook::natural, QT_TRANSLATE_NOOP("FaceMenu", "Natural"),
     QT_TRANSLATE_NOOP("FaceMenu", "Reels light your face well, even your skin and clear your eyes")},
    {FaceLook::sculpted, QT_TRANSLATE_NOOP("FaceMenu", "Sculpted"),
     QT_TRANSLATE_NOOP("FaceMenu", "Natural, plus a stronger jawline")},
};

}  // namespace

FaceMenu::FaceMenu(Studio& studio, QWidget* parent) : QMenu(tr("Face in Reels"), parent), studio_(studio) {
  setToolTipsVisible(true);
  darkenMenu(*this);
  auto* group = new QActionGroup(this);
  for (const Choice& choice : kChoices) {
    QAction* action = addAction(tr(choice.label));
    action->setCheckable(true);
    action->setData(int(choice.look));
    action->setToolTip(tr(choice.help));
    group->addAction(action);
    connect(action, &QAction::triggered, this, [this, look = choice.look] {
      studio_.updatePrefs([look](Prefs& p) { p.face = look; });
    });
  }
  connect(this, &QMenu::aboutToShow, this, [this] { refresh(); });
  refresh();
}

void FaceMenu::refresh() {
  const Prefs& prefs = studio_.prefs();
  const bool reels = prefs.reels.value_or(true);
  const FaceLook look = prefs.face.value_or(FaceLook::off);
  setToolTip(reels ? QString() : tr("Face finishes your reels; turn on Make a Reel After Each Take to use it"));
  for (QAction* action : actions()) {
    action->setEnabled(reels);
    action->setChecked(action->data().toInt() == int(look));
  }
}

}  // namespace vorn
