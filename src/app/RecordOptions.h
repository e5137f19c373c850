// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Rect.h"
#include "model/Prefs.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace vorn {

// What `vorn record` was asked to do. Options not given come from the saved preferences.
struct RecordOptions {
  Prefs prefs;                      // layout, style, fps, camera, microphone, system audio
  std::optional<double> seconds;    // none: until interrupted
  std::optional<Rect> area;         // display points; none: the saved or default frame
  std::optional<int> display;       // index into the display list; none: the first
  std::optional<QString> out;       // none: the next take name in the takes folder
  bool help = false;
};

struct ParsedRecordOptions {
  RecordOptions options;
  QString error;  // one sentence; empty when the arguments are fine
};

// Parses the arguments after "record" ("--seconds 2" and "--seconds=2" alike).
ParsedRecordOptions parseRecordOptions(const QStringList& arguments, const Prefs& saved);

// The help text printed by `vorn record --help`.
QString recordUsage();

}  // namespace vorn
