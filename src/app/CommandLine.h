// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/StudioRequest.h"

#include <QString>
#include <QStringList>

namespace vorn {

// What `vorn …` was asked to do, read before any window system is touched so that help,
// version and refusals work without a display.
struct CommandLine {
  enum class Command { studio, record, reviewStates, renderSamples, print, refuse };
  Command command = Command::studio;
  StudioRequest request = StudioRequest::show;
  QString text;  // print: for standard output; refuse: the one sentence for standard error
};

// `arguments` as the process got them, the program's name first.
CommandLine readCommandLine(const QStringList& arguments);

}  // namespace vorn
