// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vorn {

// A sentence made the end of another ("… stopped there: the display went away."): its first
// letter lowered and its full stop dropped.
inline QString asClause(QString sentence) {
  if (sentence.endsWith('.')) sentence.chop(1);
  if (!sentence.isEmpty()) sentence[0] = sentence[0].toLower();
  return sentence;
}

}  // namespace vorn
