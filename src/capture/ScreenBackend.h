// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FrameBuffer.h"
#include "base/Rect.h"
#include "capture/OwnClient.h"
#include "capture/Pointer.h"

#include <QImage>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

// One display as the screen source sees it. `rect` is in desktop points (the coordinates of
// Qt's global window geometry); `scale` is pixels per point.
struct DisplayInfo {
  uint32_t id = 0;
  std::string name;
  Rect rect;
  double scale = 1.0;
  bool operator==(const DisplayInfo&) const = default;
};

// What a running capture delivers: the part of the display to grab (in points, origin at the
// display's top-left) and the size of each delivered frame in pixels.
struct ScreenConfig {
  Rect sourceRect;
  int width = 0;
  int height = 0;
  bool operator==(const ScreenConfig&) const = default;
};

// Where a backend delivers. Every callback runs on a backend thread and must return quickly.
struct ScreenSinks {
  // A complete frame, the configuration it was grabbed with (it is config.width ×
  // config.height pixels of config.sourceRect), and the media time the screen showed it.
  // Unchanged content is not delivered again.
  std::function<void(FrameRef, const ScreenConfig& config, double at)> onFrame;
  // The screen was looked at, at `at`, and still showed the last frame delivered (optional).
  std::function<void(double at)> onUnchanged;
  // Where the pointer is, once a tick (optional; not every backend sees it).
  std::function<void(const PointerState&)> onPointer;
  // The capture ended on its own; the text is one sentence saying why.
  std::function<void(const std::string&)> onStopped;
  // The screen's picture could not be read for a while (the capture goes on trying); one
  // sentence saying why, told once until a picture comes through again (optional).
  std::function<void(const std::string&)> onFailing;
};

// The display-server side of the screen source: everything the source needs from X11 (or a
// sample file, or later PipeWire), and nothing more. Starting, stopping and updating are
// called from one thread at a time (the source's "vorn.screen.config" queue); listing the
// displays and the screenshot from any thread at any time, without waiting on those.
class ScreenBackend {
 public:
  // Called with nothing on success, or one sentence saying why the update failed.
  using Completion = std::function<void(std::optional<std::string> error)>;

  virtual ~ScreenBackend() = default;

  // The displays that can be captured now, in the server's order; empty when there is none.
  virtual std::vector<DisplayInfo> displays() = 0;
  // After displays() came back empty: one sentence saying why and what to do, or nothing
  // when the backend cannot tell.
  virtual std::optional<std::string> unavailable() const { return std::nullopt; }
  // Starts capturing `display` with `config`, leaving the windows of `own` out of every frame
  // where the display server allows. Throws std::runtime_error with one sentence on failure.
  virtual void start(const DisplayInfo& display, const ScreenConfig& config, OwnClient own,
                     ScreenSinks sinks) = 0;
  // Whether the running capture leaves Vorn's windows out. Where it cannot, the studio keeps
  // its windows outside the capture area instead.
  virtual bool leavesOutOwnWindows() const = 0;
  // Stops capturing; no callback runs once this returns. Updates still in flight complete
  // with an error.
  virtual void stop() = 0;
  // Asks the running capture to change its configuration; `done` runs once the change is in
  // force (or has failed), on a backend thread.
  virtual void update(const ScreenConfig& config, Completion done) = 0;
  // One picture of the whole display in its pixels; a null image when it cannot be had. Slow.
  virtual QImage screenshot(const DisplayInfo& display) = 0;
};

}  // namespace vorn
