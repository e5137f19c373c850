// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/ChildProcess.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn::test {

// KDE Plasma's global shortcuts as its desktop serves them, without the desktop: kglobalaccel
// and the desktop portal with KDE's backend, on the test's private session bus. No key can be
// pressed here, so a shortcut is pressed through kglobalaccel, as its key grab would.
class KdeShortcuts {
 public:
  // The program this machine lacks to run them, if any.
  static std::optional<std::string> missingProgram();
  // Throws std::runtime_error when a part does not start.
  KdeShortcuts();
  ~KdeShortcuts();
  KdeShortcuts(const KdeShortcuts&) = delete;
  KdeShortcuts& operator=(const KdeShortcuts&) = delete;

  // Presses `shortcut` of the application whose shortcuts kglobalaccel files under a name
  // ending in `component`; false when there is none.
  bool press(const std::string& component, const std::string& shortcut);

 private:
  std::vector<std::unique_ptr<ChildProcess>> processes_;  // started in order, stopped in reverse
};

}  // namespace vorn::test
