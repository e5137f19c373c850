// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMenu>

namespace vorn {

class Studio;

// "Face in Reels": how the reel engine finishes the face (off, natural, sculpted), each with a
// line of help; while reels are off it only says how to turn them on.
class FaceMenu : public QMenu {
  Q_OBJECT

 public:
  FaceMenu(Studio& studio, QWidget* parent);

 private:
  void refresh();

  Studio& studio_;
};

}  // namespace vorn
