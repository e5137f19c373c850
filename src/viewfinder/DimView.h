// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRectF>
#include <QWidget>

#include <optional>

namespace vorn {

class OverlayPanel;

// The dimming over the whole screen, with a clear hole where the capture region is. The
// amount of dimming is its panel's opacity.
class DimView : public QWidget {
  Q_OBJECT

 public:
  DimView(OverlayPanel& panel);

  // `hole` in this view's coordinates (none: dim everything); `amount` 0…1.
  void update(std::optional<QRectF> hole, double amount);
  const std::optional<QRectF>& hole() const { return hole_; }
  double amount() const { return amount_; }

 protected:
  void paintEvent(QPaintEvent*) override;

 private:
  OverlayPanel& panel_;
  std::optional<QRectF> hole_;
  double amount_ = -1;  // so that the first update always applies
};

}  // namespace vorn
