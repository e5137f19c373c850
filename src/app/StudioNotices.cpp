// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/StudioNotices.h"

#include "model/Studio.h"
#include "reels/ReelMaker.h"

#include <QFileInfo>

namespace vorn {

StudioNotices::StudioNotices(Studio& studio, ReelMaker& reels, const QWidget& studioWindow)
    : studio_(studio), reels_(reels), studioWindow_(studioWindow) {
  connect(&studio, &Studio::takeChanged, this, &StudioNotices::takeChanged);
  connect(&reels, &ReelMaker::latestChanged, this, &StudioNotices::latestReelChanged);
}

// A take is set while the phase is still "finishing" only when it has just been saved; the
// studio brings itself forward right after, so whether it was hidden is judged now.
void StudioNotices::takeChanged() {
  const auto& take = studio_.take();
  if (!take || studio_.phase() != Phase::finishing) return;
  if (studioWindow_.isVisible() && !studioWindow_.isMinimized()) return;
  const QString path = take->url.toLocalFile();
  notifier_.notify(tr("Take saved"),
                   tr("%1 (%2 s)").arg(QFileInfo(path).fileName()).arg(take->duration, 0, 'f', 1), path);
}

void StudioNotices::latestReelChanged() {
  const auto& latest = reels_.latest();
  if (!latest) return;
  const auto job = reels_.job(Take{*latest, 0});
  if (!job || !job->video) return;
  const QString path = job->video->toLocalFile();
  notifier_.notify(tr("Your reel is ready"), QFileInfo(path).fileName(), path);
}

}  // namespace vorn
