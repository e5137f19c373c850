// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QThreadPool>

#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace vorn {

// What background work produced: its value, or the text of what it threw.
template <class Result>
struct Outcome {
  std::optional<Result> value;
  std::string error;  // set when `work` threw
};

// Runs `work` on a pool thread and hands its outcome to `done` on the GUI thread, so slow
// work (opening a take, finishing one, starting a source) never holds up the GUI. Nothing is
// delivered once `context` is gone.
template <class Work, class Done>
void inBackground(QObject* context, Work work, Done done) {
  using Result = decltype(work());
  QThreadPool::globalInstance()->start([context = QPointer<QObject>(context), work = std::move(work),
                                        done = std::move(done)]() mutable {
    Outcome<Result> outcome;
    try {
      outcome.value.emplace(work());
    } catch (const std::exception& error) {
      outcome.error = error.what();
    } catch (...) {
      outcome.error = "unknown failure";
    }
    // Posted to the application, which outlives every context, and checked there: a context
    // deleted meanwhile on its own thread can never be reached through a stale pointer.
    QCoreApplication* app = QCoreApplication::instance();
    if (!app) return;
    QMetaObject::invokeMethod(
        app,
        [context, done = std::move(done), outcome = std::move(outcome)]() mutable {
          if (context) done(std::move(outcome));
        },
        Qt::QueuedConnection);
  });
}

}  // namespace vorn
