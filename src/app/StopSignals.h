// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>

#include <functional>

namespace vorn {

// Turns SIGINT, SIGTERM and SIGHUP (closing the terminal) into a call of `stop` on the GUI
// thread, so that a take being recorded is finished instead of lost; SIGPIPE (output that
// nobody reads any more) is ignored.
void onStopSignals(QObject* context, std::function<void()> stop);

}  // namespace vorn
