#pragma once

#include "base/Locked.h"
#include "base/Rect.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace vorn {

// The screen rectangles of Vorn's own windows (the viewfinder, the monitor, the island), in
// desktop points. A root-window grab sees every window on the screen; the screen source
// leaves these rectangles out of each frame so that the studio never records itself.
//
// Register a window before showing it and update its rectangle before moving it: the grab
// trusts this registry, not the window system. A place a window has just left (moved or
// removed) stays left out for a moment, until the windows behind have painted over it.
// Safe to use from any thread.
class OwnWindows {
 public:
  using Rects = std::shared_ptr<const std::vector<Rect>>;

  // How long a place a window left keeps being left out.
  static constexpr double leftPlaceSeconds = 0.25;

  // Registers a rectangle; returns the id to update or remove it with.
  int add(const Rect& rect);
  void update(int id, const Rect& rect);
  void remove(int id);

  // The rectangles to leave out now. A new pointer after every change, so comparing pointers
  // tells whether anything changed; reading allocates nothing unless a left place expired.
  Rects rects();

 private:
  struct Entry {
    int id;
    std::optional<Rect> rect;  // none once removed
    std::optional<Rect> left;  // the place it left, while that is still left out
    double leftUntil = 0;      // media time
  };
  void leave(Entry& entry);
  void publish();

  // Guards entries_ and nextId_ and keeps writers in order. Held while the list is rebuilt:
  // writers are rare and never on a frame path.
  std::mutex mutex_;
  std::vector<Entry> entries_;
  int nextId_ = 1;
  std::atomic<double> nextExpiry_{1e300};  // when a left place is next due to go
  Locked<Rects> rects_{std::make_shared<const std::vector<Rect>>()};
};

}  // namespace vorn
