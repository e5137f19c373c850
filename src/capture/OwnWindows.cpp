#include "capture/OwnWindows.h"

#include "base/Clock.h"

#include <algorithm>

namespace vorn {

int OwnWindows::add(const Rect& rect) {
  std::lock_guard guard(mutex_);
  const int id = nextId_++;
  entries_.push_back({id, rect, std::nullopt, 0});
  publish();
  return id;
}

void OwnWindows::update(int id, const Rect& rect) {
  std::lock_guard guard(mutex_);
  for (Entry& entry : entries_) {
    if (entry.id != id || entry.rect == rect) continue;
    leave(entry);
    entry.rect = rect;
  }
  publish();
}

void OwnWindows::remove(int id) {
  std::lock_guard guard(mutex_);
  for (Entry& entry : entries_) {
    if (entry.id != id) continue;
    leave(entry);
    entry.rect.reset();
  }
  publish();
}

OwnWindows::Rects OwnWindows::rects() {
  if (mediaTime() >= nextExpiry_.load(std::memory_order_relaxed)) {
    std::lock_guard guard(mutex_);
    publish();
  }
  return rects_.get();
}

// The pixels of the old place still show the window until whatever lies behind repaints.
void OwnWindows::leave(Entry& entry) {
  if (!entry.rect) return;
  entry.left = entry.rect;
  entry.leftUntil = mediaTime() + leftPlaceSeconds;
}

// Writers are rare (a window shown or moved); they build a fresh list so that the grab, which
// reads every frame, only copies a pointer.
void OwnWindows::publish() {
  const double now = mediaTime();
  double nextExpiry = 1e300;
  auto next = std::make_shared<std::vector<Rect>>();
  for (Entry& entry : entries_) {
    if (entry.left && entry.leftUntil <= now) entry.left.reset();
    if (entry.rect) next->push_back(*entry.rect);
    if (entry.left) {
      next->push_back(*entry.left);
      nextExpiry = std::min(nextExpiry, entry.leftUntil);
    }
  }
  std::erase_if(entries_, [](const Entry& e) { return !e.rect && !e.left; });
  nextExpiry_.store(nextExpiry, std::memory_order_relaxed);
  rects_.set(std::move(next));
}

}  // namespace vorn
