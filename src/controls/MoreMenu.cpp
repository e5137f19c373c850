// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/MoreMenu.h"

#include "controls/FaceMenu.h"
#include "controls/MenuLook.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "model/Takes.h"
#include "reels/ReelMaker.h"

#include <QActionGroup>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QUrl>

namespace vorn {

MoreMenu::MoreMenu(Studio& studio, Engine& engine, QWidget* parent)
    : QMenu(tr("More"), parent), studio_(studio), engine_(engine) {
  setToolTipsVisible(true);
  darkenMenu(*this);
  connect(this, &QMenu::aboutToShow, this, [this] { rebuild(); });
  rebuild();
}

template <class T>
void MoreMenu::addPicker(const QString& title, const std::vector<std::pair<QString, T>>& options, const T& current,
                         std::function<void(Prefs&, const T&)> set, const QString& whyEmpty) {
  QMenu* menu = addMenu(title);
  if (options.empty()) return sayWhyEmpty(*menu, whyEmpty);
  auto* group = new QActionGroup(menu);
  for (const auto& [label, value] : options) {
    QAction* action = menu->addAction(label);
    action->setCheckable(true);
    action->setChecked(value == current);
    group->addAction(action);
    connect(action, &QAction::triggered, this, [this, set, value = value] {
      studio_.updatePrefs([&](Prefs& p) { set(p, value); });
    });
  }
}

void MoreMenu::sayWhyEmpty(QMenu& menu, const QString& why) { menu.addAction(why)->setEnabled(false); }

void MoreMenu::addCheck(const QString& label, bool on, std::function<void(Prefs&, bool)> set, const QString& help) {
  QAction* action = addAction(label);
  action->setCheckable(true);
  action->setChecked(on);
  action->setToolTip(help);
  connect(action, &QAction::toggled, this, [this, set](bool checked) { studio_.updatePrefs([&](Prefs& p) { set(p, checked); }); });
}

void MoreMenu::rebuild() {
  clear();
  const Prefs prefs = studio_.prefs();
  addPicker<FrameStyle>(tr("Style"), {{tr("Edge to edge"), FrameStyle::bleed}, {tr("Floating"), FrameStyle::floating}},
                        prefs.style, [](Prefs& p, const FrameStyle& v) { p.style = v; });
  addPicker<Platform>(tr("Safe Zones"),
                      {{tr("Instagram Reels"), Platform::reels}, {tr("TikTok"), Platform::tiktok},
                       {tr("YouTube Shorts"), Platform::shorts}, {tr("None"), Platform::none}},
                      prefs.platform, [](Prefs& p, const Platform& v) { p.platform = v; });
  std::vector<std::pair<QString, std::optional<QString>>> cameras;
  for (const DeviceInfo& camera : studio_.cameras()) cameras.emplace_back(camera.name, camera.id);
  addPicker<std::optional<QString>>(tr("Camera"), cameras, prefs.cameraID,
                                    [](Prefs& p, const std::optional<QString>& v) { p.cameraID = v; },
                                    tr("No camera connected"));
  std::vector<std::pair<QString, std::optional<QString>>> mics{{tr("System Default"), std::nullopt}};
  for (const DeviceInfo& mic : studio_.mics()) mics.emplace_back(mic.name, mic.id);
  addPicker<std::optional<QString>>(tr("Microphone"), mics, prefs.micID,
                                    [](Prefs& p, const std::optional<QString>& v) { p.micID = v; });
  addPicker<int>(tr("Frame Rate"), {{tr("30 fps"), 30}, {tr("60 fps"), 60}}, prefs.fps,
                 [](Prefs& p, const int& v) { p.fps = v; });
  addSeparator();
  addCheck(tr("Zoom In on Clicks"), prefs.clickZoom, [](Prefs& p, bool on) { p.clickZoom = on; });
  addCheck(tr("Record System Audio"), prefs.systemAudio, [](Prefs& p, bool on) { p.systemAudio = on; });
  addCheck(tr("Mirror Camera"), prefs.mirror, [](Prefs& p, bool on) { p.mirror = on; });
  addSeparator();
  if (ReelMaker::isAvailable())
    addCheck(tr("Make a Reel After Each Take"), prefs.reels.value_or(true), [](Prefs& p, bool on) { p.reels = on; });
  addMenu(new FaceMenu(studio_, this));
  if (ReelMaker::claudeInstalled())
    addCheck(tr("Write Stories with Claude"), prefs.claude.value_or(false), [](Prefs& p, bool on) { p.claude = on; },
             tr("Sends the take's transcript to your Claude account for a sharper story. Off, this "
                "computer writes it on its own."));
  addAction(tr("Teleprompter"), this, [this] { studio_.setShowScript(true); });
  addSeparator();
  addDisplays();
  addAction(tr("Show Takes in Files"), this, [] { QDesktopServices::openUrl(Takes::folder()); });
  if (ReelMaker::isAvailable())
    addAction(tr("Show Reels in Files"), this,
              [] { QDesktopServices::openUrl(QUrl::fromLocalFile(ReelMaker::folder())); });
  addSeparator();
  addAction(tr("Close Vorn"), this, [this] { engine_.close(); });
  addAction(tr("Quit Vorn"), this, [] { QCoreApplication::quit(); });
}

void MoreMenu::addDisplays() {
  QMenu* menu = addMenu(tr("Move to Display"));
  const std::vector<DisplayInfo>& displays = engine_.displays();
  if (displays.size() < 2)
    return sayWhyEmpty(*menu, displays.empty() ? tr("No display found") : tr("Only one display is connected"));
  for (const DisplayInfo& display : displays) {
    QAction* action = menu->addAction(QString::fromStdString(display.name));
    action->setCheckable(true);
    action->setChecked(display.id == engine_.screen().id);
    connect(action, &QAction::triggered, this, [this, display] { engine_.moveTo(display); });
  }
}

}  // namespace vorn
