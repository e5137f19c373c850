// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StopSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace vorn {
namespace {

int gSignalPipe[2] = {-1, -1};

// Only async-signal-safe work here: one byte down the pipe.
void onSignal(int) {
  const char byte = 1;
  (void)!::write(gSignalPipe[1], &byte, 1);
}

}  // namespace

void onStopSignals(QObject* context, std::function<void()> stop) {
  if (gSignalPipe[0] < 0 && ::pipe2(gSignalPipe, O_CLOEXEC) != 0) return;
  struct sigaction action {};
  action.sa_handler = onSignal;
  sigemptyset(&action.sa_mask);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
  // Output that nobody reads any more (the terminal or the pipe went away) must not kill a
  // take: writing to it just fails.
  ::signal(SIGPIPE, SIG_IGN);
  auto* notifier = new QSocketNotifier(gSignalPipe[0], QSocketNotifier::Read, context);
  QObject::connect(notifier, &QSocketNotifier::activated, context, [stop = std::move(stop)] {
    char byte;
    (void)!::read(gSignalPipe[0], &byte, 1);
    stop();
  });
}

}  // namespace vorn
