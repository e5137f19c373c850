// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"
#include "controls/ControlDeck.h"
#include "controls/MoreMenu.h"
#include "controls/ScriptEditor.h"
#include "engine/Engine.h"
#include "model/Studio.h"
#include "reels/ReelMaker.h"

#include "support/Eventually.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QToolButton>
#include <QtTest/QTest>
#include <gtest/gtest.h>

namespace vorn {
namespace {

// The action titled `label` in `menu` or its submenus.
QAction* find(QMenu& menu, const QString& label) {
  for (QAction* action : menu.actions()) {
    if (action->text() == label) return action;
    if (action->menu())
      if (QAction* inner = find(*action->menu(), label)) return inner;
  }
  return nullptr;
}

class ControlDeckTest : public testing::Test {
 protected:
  void SetUp() override {
    studio.updatePrefs([](Prefs& p) {
      p.cameraOn = false;
      p.micOn = false;
      p.fps = 30;
      p.reels = false;
    });
    engine.recording().setCountdownStep(10000);  // the countdown stays put while the test looks
    engine.openAndWait();
    window.resize(300, 220);
    deck = new ControlDeck(studio, engine, &window);
    deck->resize(300, 220);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window, 10000));
    window.activateWindow();
  }
  void TearDown() override { engine.closeAndWait(); }

  Studio studio;
  ReelMaker reels{studio};
  Engine engine{studio, &reels, BackendChoice::choose()->forEngine(), StudioWindows{}};
  QWidget window;
  ControlDeck* deck = nullptr;
};

TEST_F(ControlDeckTest, theRecordButtonWorksFromTheKeyboardByPhase) {
  EXPECT_EQ(deck->recordButton()->text(), "Record");
  deck->recordButton()->setFocus(Qt::TabFocusReason);
  QTest::keyClick(deck->recordButton(), Qt::Key_Space);
  ASSERT_EQ(studio.phase(), Phase::countdown);
  EXPECT_EQ(deck->recordButton()->text(), "Cancel");
  EXPECT_EQ(ControlDeck::hint(studio), "Esc to cancel");
  studio.setPhase(Phase::recording);
  studio.setPausedAt(1.0);
  EXPECT_EQ(ControlDeck::hint(studio), "Ctrl+Shift+9 to stop · P to resume") << "says what P does now";
  studio.setPausedAt(std::nullopt);
  studio.setPhase(Phase::countdown);
  QTest::keyClick(deck->recordButton(), Qt::Key_Space);
  EXPECT_EQ(studio.phase(), Phase::framing) << "cancelled";
  EXPECT_EQ(deck->recordButton()->text(), "Record");
}

TEST_F(ControlDeckTest, togglesAndThePickerDriveThePreferences) {
  const QList<QToolButton*> buttons = deck->findChildren<QToolButton*>();
  const auto named = [&](const QString& text) {
    for (QToolButton* b : buttons)
      if (b->text() == text) return b;
    return static_cast<QToolButton*>(nullptr);
  };
  QTest::keyClick(named("Follow"), Qt::Key_Space);
  EXPECT_EQ(studio.prefs().follow, named("Follow")->isChecked());
  const bool follow = studio.prefs().follow;
  QTest::keyClick(named("Follow"), Qt::Key_Space);
  EXPECT_EQ(studio.prefs().follow, !follow);
  QTest::keyClick(named("Split"), Qt::Key_Space);
  EXPECT_EQ(studio.prefs().layout, Layout::split);
  QTest::keyClick(named("Me"), Qt::Key_Space);
  EXPECT_EQ(studio.prefs().layout, Layout::me);
  EXPECT_FALSE(named("Camera")->isEnabled()) << "the camera is part of this layout";
}

TEST_F(ControlDeckTest, theMoreMenuSetsWhatTheDeckHasNoButtonFor) {
  MoreMenu& more = *deck->moreMenu();
  more.rebuild();
  find(more, "60 fps")->trigger();
  EXPECT_EQ(studio.prefs().fps, 60);
  find(more, "Floating")->trigger();
  EXPECT_EQ(studio.prefs().style, FrameStyle::floating);
  find(more, "TikTok")->trigger();
  EXPECT_EQ(studio.prefs().platform, Platform::tiktok);
  find(more, "Record System Audio")->trigger();
  EXPECT_TRUE(studio.prefs().systemAudio);
  find(more, "Teleprompter")->trigger();
  EXPECT_TRUE(studio.showScript());
  more.rebuild();
  EXPECT_TRUE(find(more, "60 fps")->isChecked()) << "reopened, it shows what is set";
  EXPECT_EQ(find(more, "Make a Reel After Each Take") != nullptr, ReelMaker::isAvailable());
  EXPECT_EQ(find(more, "Write Stories with Claude") != nullptr, ReelMaker::claudeInstalled());
  find(more, "Close Vorn")->trigger();
  EXPECT_EQ(studio.phase(), Phase::idle);
}

// A submenu with nothing in it says why in one entry that can't be chosen.
TEST_F(ControlDeckTest, anEmptySubmenuSaysWhyInsteadOfOpeningEmpty) {
  MoreMenu& more = *deck->moreMenu();
  studio.setCameras({});
  more.rebuild();
  ASSERT_EQ(engine.displays().size(), 1u) << "the test display is the only one";
  for (const auto& [submenu, why] : {std::pair{"Camera", "No camera connected"},
                                     {"Move to Display", "Only one display is connected"}}) {
    QAction* entry = find(more, QString::fromUtf8(submenu));
    ASSERT_TRUE(entry && entry->menu()) << submenu;
    const QList<QAction*> inside = entry->menu()->actions();
    ASSERT_EQ(inside.size(), 1) << submenu;
    EXPECT_EQ(inside.front()->text(), why);
    EXPECT_FALSE(inside.front()->isEnabled());
  }
}

// What a screen reader says for each control: a name, and what it does.
TEST_F(ControlDeckTest, everyControlHasANameAndADescription) {
  QList<QWidget*> controls;  // the deck's and its teleprompter editor's
  for (QWidget* w : deck->findChildren<QWidget*>())
    if (qobject_cast<QAbstractButton*>(w) || qobject_cast<QAbstractSpinBox*>(w) || qobject_cast<QPlainTextEdit*>(w))
      controls.push_back(w);
  ASSERT_GE(controls.size(), 11);
  for (QWidget* control : controls) {
    QAccessibleInterface* spoken = QAccessible::queryAccessibleInterface(control);
    ASSERT_TRUE(spoken);
    EXPECT_FALSE(spoken->text(QAccessible::Name).isEmpty()) << control->metaObject()->className();
    EXPECT_FALSE(control->accessibleDescription().isEmpty()) << spoken->text(QAccessible::Name).toStdString();
  }
  EXPECT_EQ(QAccessible::queryAccessibleInterface(deck->findChildren<QToolButton*>().front())->text(QAccessible::Name),
            "Screen layout");
}

TEST_F(ControlDeckTest, theTeleprompterEditorSetsThePaceInWordsAMinute) {
  QSpinBox* pace = deck->scriptEditor()->pace();
  EXPECT_EQ(pace->value(), 150) << "the default reads like speech";
  QTest::keyClick(pace, Qt::Key_Up);
  EXPECT_EQ(pace->value(), 160);
  EXPECT_NEAR(studio.prefs().prompterSpeed, Prefs().prompterSpeed * 160 / 150, 1e-9) << "saved as its scroll speed";
  ScriptEditor reopened(studio, nullptr);
  EXPECT_EQ(reopened.pace()->value(), 160);
}

// A pasted book is cut where the prompter stops reading, and the editor says so; a script
// within the bound shows no note.
TEST_F(ControlDeckTest, aScriptLongerThanThePrompterReadsIsCutAndSaidSo) {
  ScriptEditor* editor = deck->scriptEditor();
  editor->show();
  editor->text()->setPlainText(QString(Prefs::maxScriptLength * 3, QLatin1Char('a')));
  EXPECT_EQ(studio.prefs().script.size(), Prefs::maxScriptLength);
  EXPECT_EQ(editor->text()->toPlainText().size(), Prefs::maxScriptLength);
  EXPECT_TRUE(editor->tooLong()->isVisible());
  editor->text()->setPlainText(QStringLiteral("Say the point first."));
  EXPECT_EQ(studio.prefs().script, QStringLiteral("Say the point first."));
  EXPECT_FALSE(editor->tooLong()->isVisible());
}

}  // namespace
}  // namespace vorn
