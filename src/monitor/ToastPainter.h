// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QPainter>
#include <QRect>
#include <QString>

namespace vorn {

// The studio's toast: one sentence in a dark capsule near the bottom of `area`.
void paintToast(QPainter& painter, const QRect& area, const QString& text);

}  // namespace vorn
