#include "controls/ScriptEditor.h"

#include "model/Studio.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

namespace vorn {

ScriptEditor::ScriptEditor(Studio& studio, QWidget* owner)
    : QWidget(owner, Qt::Tool | Qt::WindowStaysOnTopHint), studio_(studio) {
  setWindowTitle(QStringLiteral("Teleprompter"));
  resize(420, 360);
  auto* column = new QVBoxLayout(this);
  auto* help = new QLabel(QStringLiteral("While you record, your script scrolls just below the camera, so you're "
                                         "looking at the lens as you read."),
                          this);
  help->setWordWrap(true);
  column->addWidget(help);
  text_ = new QPlainTextEdit(studio_.prefs().script, this);
  column->addWidget(text_, 1);
  auto* row = new QHBoxLayout;
  row->addWidget(new QLabel(QStringLiteral("Pace"), this));
  pace_ = new QSpinBox(this);
  pace_->setRange(5, 200);
  pace_->setSuffix(QStringLiteral(" pt/s"));
  pace_->setValue(int(studio_.prefs().prompterSpeed));
  row->addWidget(pace_);
  row->addStretch(1);
  auto* clear = new QPushButton(QStringLiteral("Clear"), this);
  auto* done = new QPushButton(QStringLiteral("Done"), this);
  row->addWidget(clear);
  row->addWidget(done);
  column->addLayout(row);

  connect(text_, &QPlainTextEdit::textChanged, this, [this] {
    const QString script = text_->toPlainText();
    if (script != studio_.prefs().script) studio_.updatePrefs([&](Prefs& p) { p.script = script; });
  });
  connect(pace_, &QSpinBox::valueChanged, this, [this](int pace) {
    studio_.updatePrefs([pace](Prefs& p) { p.prompterSpeed = pace; });
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
