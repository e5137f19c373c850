#pragma once

#include "capture/Locked.h"
#include "render/Rect.h"

#include <memory>
#include <mutex>
#include <vector>

namespace vorn {

// The screen rectangles of Vorn's own windows (the viewfinder, the monitor, the island), in
// desktop points. A root-window grab sees every window on the screen; the screen source
// leaves these rectangles out of each frame so that the studio never records itself.
//
// Register a window before showing it and update its rectangle before moving it: the grab
// trusts this registry, not the window system. Safe to use from any thread.
class OwnWindows {
 public:
  using Rects = std::shared_ptr<const std::vector<Rect>>;

  // Registers a rectangle; returns the id to update or remove it with.
  int add(const Rect& rect);
  void update(int id, const Rect& rect);
  void remove(int id);

  // The rectangles now registered. A new pointer after every change, so comparing pointers
  // tells whether anything changed; reading allocates nothing.
  Rects rects() const { return rects_.get(); }

 private:
  struct Entry {
    int id;
    Rect rect;
  };
  void publish();

  // Guards entries_ and nextId_ and keeps writers in order. Held while the list is rebuilt:
  // writers are rare and never on a frame path.
  std::mutex mutex_;
  std::vector<Entry> entries_;
  int nextId_ = 1;
  Locked<Rects> rects_{std::make_shared<const std::vector<Rect>>()};
};

}  // namespace vorn
