// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFrame>

#include <optional>

namespace vorn {

class Studio;

// A card over the phone's screen: the first-run welcome (what Vorn does in three steps, and
// "Start", which retires it for good), or why the camera can't be used, or that the
// microphone sends no sound.
class PhoneCard : public QFrame {
  Q_OBJECT

 public:
  enum class Kind { welcome, camera, microphone };

  PhoneCard(Kind kind, Studio& studio, QWidget* parent);
  Kind kind() const { return kind_; }
  // Sets its text (and the room around it) `scale` times its full size, so that the card fits
  // a phone shrunk to fit a short screen without its lines running into each other.
  void setTextScale(double scale);
  // Shrinks the text in steps until the card's content fits its height.
  void fitText();
  // The card the studio owes the user now, if any.
  static std::optional<Kind> due(const Studio& studio);

 private:
  void buildWelcome(Studio& studio);
  void buildProblem(const QString& title, const QString& detail);

  const Kind kind_;
};

}  // namespace vorn
