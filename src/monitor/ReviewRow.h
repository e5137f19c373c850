#pragma once

#include <QWidget>

class QPushButton;

namespace vorn {

class Engine;
class Studio;

// Under the phone while a take is reviewed: send the reel to the phone once it is ready, show
// the take in the file manager, copy it as a file, retake, or be done with it.
class ReviewRow : public QWidget {
 public:
  ReviewRow(Studio& studio, QWidget* parent);
  void attach(Engine& engine);

 private:
  void refresh();
  // The file the row acts on: the finished reel when there is one, else the take.
  QString item() const;

  Studio& studio_;
  Engine* engine_ = nullptr;
  QPushButton* send_;
  QPushButton* copy_;
};

}  // namespace vorn
