// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QString>

#include <string>

namespace vorn {

// The display and sound servers' code says what went wrong in plain sentences (exceptions,
// stop reasons), each marked where it is written with QT_TRANSLATE_NOOP("Platform", …); they
// are translated here, where they reach the user.
inline QString platformText(const std::string& sentence) {
  return QCoreApplication::translate("Platform", sentence.c_str());
}

}  // namespace vorn
