// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "reels/ReelJob.h"

#include <QJsonObject>
#include <QString>

#include <optional>

namespace vorn::ReelMessage {

// The sentence shown for a reel engine error. The engine's own wording is never shown.
QString plain(const std::optional<QString>& message);

enum class Effect { none, changed, done };

// Applies one decoded reel engine message to its job, in arrival order and without regard
// to the current stage. Unknown events and keys of the wrong type change nothing beyond
// what the table of events allows. Returns `done` for a "done" event (whether or not the
// job changed), `changed` when any other event changed the job.
Effect apply(ReelJob& job, const QJsonObject& message);

}  // namespace vorn::ReelMessage
