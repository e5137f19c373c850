#pragma once

#include <QFrame>

namespace vorn {

class Studio;

// The first-run card over the phone's screen: what Vorn does in three steps, and "Start",
// which retires it for good.
class PhoneCard : public QFrame {
 public:
  PhoneCard(Studio& studio, QWidget* parent);
  // Whether the studio still owes the user this card.
  static bool due(const Studio& studio);
};

}  // namespace vorn
