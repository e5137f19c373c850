#include "capture/OwnWindows.h"

#include <algorithm>

namespace vorn {

int OwnWindows::add(const Rect& rect) {
  std::lock_guard guard(mutex_);
  const int id = nextId_++;
  entries_.push_back({id, rect});
  publish();
  return id;
}

void OwnWindows::update(int id, const Rect& rect) {
  std::lock_guard guard(mutex_);
  for (Entry& entry : entries_)
    if (entry.id == id) entry.rect = rect;
  publish();
}

void OwnWindows::remove(int id) {
  std::lock_guard guard(mutex_);
  std::erase_if(entries_, [id](const Entry& entry) { return entry.id == id; });
  publish();
}

// Writers are rare (a window shown or moved); they build a fresh list so that the grab, which
// reads every frame, only copies a pointer.
void OwnWindows::publish() {
  auto next = std::make_shared<std::vector<Rect>>();
  next->reserve(entries_.size());
  for (const Entry& entry : entries_) next->push_back(entry.rect);
  rects_.set(std::move(next));
}

}  // namespace vorn
