// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reels/ReelJob.h"

#include <QWidget>

#include <optional>

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace vorn {

class Engine;
class Studio;

// Under the phone while a take is reviewed: where its reel stands, the brief for the next
// one, and what can be done with the take or its reel (send, show in Files, copy, retake,
// done, reel or take).
class ReviewBar : public QWidget {
  Q_OBJECT

 public:
  // The stage line for a job: the fixed sentence of each stage, the failure's own message.
  static QString stageText(const ReelStage& stage);
  struct Header {
    QString title, detail, hint, caption;
  };
  // The header for the take's job (none: reels are off).
  static Header header(const std::optional<ReelJob>& job);

  ReviewBar(Studio& studio, QWidget* parent);
  void attach(Engine& engine);
  // The file the bar acts on (and the phone plays): the finished reel when it is shown, else
  // the take; empty outside review.
  QString item() const;

  // Shows `job` as the take's job (what a change of the reel maker's jobs does).
  void present(const std::optional<ReelJob>& job);

  QPushButton* primary() const { return primary_; }
  QLabel* stageLabel() const { return stage_; }
  QProgressBar* progress() const { return progress_; }

 private:
  std::optional<ReelJob> job() const;
  void refresh();
  void primaryAction();

  Studio& studio_;
  Engine* engine_ = nullptr;
  QLabel *title_, *stage_, *hint_, *caption_, *copyCaption_, *flags_;
  QProgressBar* progress_;
  QLineEdit* brief_;
  QPushButton *primary_, *copy_, *switch_, *done_;
};

}  // namespace vorn
