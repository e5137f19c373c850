// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reels/EngineProcess.h"

#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>

namespace vorn {

// The reel engine run in progress, GUI thread only. It closes once its output stream has
// ended and its process has exited, in whichever order the two arrive.
struct Running {
  struct Exit {
    std::int32_t status = 0;  // exit status, or the signal number when killed
    bool killed = false;      // ended by an uncaught signal
  };

  QUrl url;  // the take this run works on: the job's key
  // Tells this run's end events from those of an earlier run that was dropped at once.
  std::uint64_t serial = 0;
  std::unique_ptr<EngineProcess> process;
  std::optional<Exit> exited;
  bool streamClosed = false;

  bool isOver() const { return exited.has_value() && streamClosed; }
};

}  // namespace vorn
