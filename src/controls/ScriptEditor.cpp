// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ScriptEditor.h"

#include "model/PrompterPace.h"
#include "model/Studio.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTextCursor>
#include <QVBoxLayout>

#include <cmath>

namespace vorn {

ScriptEditor::ScriptEditor(Studio& studio, QWidget* owner)
    : QWidget(owner, Qt::Tool | Qt::WindowStaysOnTopHint), studio_(studio) {
  setWindowTitle(tr("Teleprompter"));
  resize(420, 360);
  auto* column = new QVBoxLayout(this);
  auto* help = new QLabel(tr("While you record, your script scrolls just below the camera, so you're "
                             "looking at the lens as you read."),
                          this);
  help->setWordWrap(true);
  column->addWidget(help);
  text_ = new QPlainTextEdit(studio_.prefs().script, this);
  text_->setAccessibleName(tr("Script"));
  text_->setAccessibleDescription(help->text());
  column->addWidget(text_, 1);
  tooLong_ = new QLabel(tr("A script holds up to %L1 characters: the rest was left out.")
                            .arg(Prefs::maxScriptLength),
                        this);
  tooLong_->setWordWrap(true);
  tooLong_->hide();
  column->addWidget(tooLong_);
  auto* row = new QHBoxLayout;
  auto* paceLabel = new QLabel(tr("Pace"), this);
  row->addWidget(paceLabel);
  // In words a minute, the way a reading voice is measured; saved as the points a second the
  // prompter scrolls.
  pace_ = new QSpinBox(this);
  pace_->setRange(int(PrompterPace::slowest), int(PrompterPace::fastest));
  pace_->setSingleStep(10);
  pace_->setSuffix(tr(" words a minute"));
  pace_->setValue(int(std::lround(PrompterPace::wordsPerMinute(studio_.prefs().prompterSpeed))));
  paceLabel->setBuddy(pace_);
  pace_->setAccessibleName(tr("Pace"));
  pace_->setAccessibleDescription(tr("How fast the script scrolls, in words a minute"));
  row->addWidget(pace_);
  row->addStretch(1);
  auto* clear = new QPushButton(tr("Clear"), this);
  auto* done = new QPushButton(tr("Done"), this);
  clear->setAccessibleDescription(tr("Empties the script"));
  done->setAccessibleDescription(tr("Closes the teleprompter; the script is kept"));
  row->addWidget(clear);
  row->addWidget(done);
  column->addLayout(row);

  connect(text_, &QPlainTextEdit::textChanged, this, [this] {
    QString script = text_->toPlainText();
    if (script.size() > Prefs::maxScriptLength) {
      // A pasted book is cut where the prompter stops reading, and the editor says so.
      script.truncate(Prefs::maxScriptLength);
      const QSignalBlocker quiet(text_);
      text_->setPlainText(script);
      text_->moveCursor(QTextCursor::End);
      tooLong_->show();
    } else if (script.size() < Prefs::maxScriptLength) {
      tooLong_->hide();
    }
    if (script != studio_.prefs().script) studio_.updatePrefs([&](Prefs& p) { p.script = script; });
  });
  connect(pace_, &QSpinBox::valueChanged, this, [this](int wordsPerMinute) {
    studio_.updatePrefs([wordsPerMinute](Prefs& p) { p.prompterSpeed = PrompterPace::pointsPerSecond(wordsPerMinute); });
  });
  connect(clear, &QPushButton::clicked, text_, &QPlainTextEdit::clear);
  connect(done, &QPushButton::clicked, this, [this] { studio_.setShowScript(false); });
  connect(&studio_, &Studio::showScriptChanged, this, [this] { follow(); });
}

void ScriptEditor::follow() {
  if (!studio_.showScript()) return hide();
  if (text_->toPlainText() != studio_.prefs().script) text_->setPlainText(studio_.prefs().script);
  show();
  raise();
  activateWindow();
  text_->setFocus();
}

}  // namespace vorn
