// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/ScreenBackend.h"
#include "engine/Backends.h"

#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

class OverlayBackend;
class X11Desktop;

// The platform's parts for this run, chosen once when the program starts: the sample screen
// when VORN_SAMPLE_SCREEN names a picture or movie, else on a Wayland session what the desktop
// portal shares, else the X server; the sample camera only
// when VORN_SAMPLE_CAMERA names one; the sound server through PulseAudio's API. Nothing else
// reads those variables.
class BackendChoice {
 public:
  static std::unique_ptr<BackendChoice> choose();
  ~BackendChoice();
  BackendChoice(const BackendChoice&) = delete;
  BackendChoice& operator=(const BackendChoice&) = delete;

  // Whether the screen is a display server's (not a sample file).
  bool serverScreen() const { return !sampleScreen_; }
  // Whether Vorn's windows can place themselves over the screen (X11); elsewhere the frame is
  // placed inside Vorn's own window.
  bool framingOnScreen() const { return !wayland_; }
  // The displays that can be captured now, asked of the backend.
  std::vector<DisplayInfo> displays() const;
  // One sentence saying why there is no display to capture.
  QString noDisplay() const;

  // Connects to the desktop for its services (keys, clicks, the pointer, the window list)
  // and the overlays; where no display server answers, they stay absent. After the
  // application object, on the GUI thread.
  void openDesktop();
  // The desktop's services; empty until the desktop is open, or where there is none.
  const DesktopServices& desktopServices() const { return services_; }
  // Null until the desktop is open, or where there is none.
  OverlayBackend* overlays() const { return overlays_.get(); }
  // What an engine is given: a screen backend of its own and the shared rest.
  Backends forEngine() const;

 private:
  BackendChoice() = default;
  std::unique_ptr<ScreenBackend> makeScreenBackend() const;

  std::optional<std::string> sampleScreen_;
  bool wayland_ = false;
  mutable QString unavailable_;  // why the last look found no display, where the backend said
  std::optional<QString> sampleCamera_;
  std::shared_ptr<SoundServer> sound_;
  std::unique_ptr<X11Desktop> desktop_;
  std::unique_ptr<OverlayBackend> overlays_;
  DesktopServices services_;
  OwnClient own_;
};

}  // namespace vorn
