// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"

#include "capture/SampleScreenBackend.h"
#include "desktop/OverlayBackend.h"
#include "platform/pulse/PulseSoundServer.h"
#include "platform/x11/GuiClient.h"
#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11DesktopServices.h"
#include "platform/x11/X11Overlays.h"
#include "platform/x11/X11ScreenBackend.h"

#include <cstdlib>

namespace vorn {
namespace {

std::optional<std::string> named(const char* variable) {
  const char* value = std::getenv(variable);
  if (!value || !*value) return std::nullopt;
  return std::string(value);
}

}  // namespace

std::unique_ptr<BackendChoice> BackendChoice::choose() {
  std::unique_ptr<BackendChoice> platform(new BackendChoice);
  platform->sampleScreen_ = named("VORN_SAMPLE_SCREEN");
  if (const auto camera = named("VORN_SAMPLE_CAMERA")) platform->sampleCamera_ = QString::fromStdString(*camera);
  platform->sound_ = std::make_shared<PulseSoundServer>();
  return platform;
}

BackendChoice::~BackendChoice() = default;

std::unique_ptr<ScreenBackend> BackendChoice::makeScreenBackend() const {
  if (sampleScreen_) return std::make_unique<SampleScreenBackend>(*sampleScreen_);
  return std::make_unique<X11ScreenBackend>();
}

std::vector<DisplayInfo> BackendChoice::displays() const { return makeScreenBackend()->displays(); }

QString BackendChoice::noDisplay() const {
  if (sampleScreen_)
    return QStringLiteral("No display to capture: VORN_SAMPLE_SCREEN=%1 can't be shown.")
        .arg(QString::fromStdString(*sampleScreen_));
  const auto display = named("DISPLAY");
  if (!display) return QStringLiteral("No display to capture: DISPLAY is not set.");
  return QStringLiteral("No display to capture at DISPLAY=%1.").arg(QString::fromStdString(*display));
}

void BackendChoice::openDesktop() {
  desktop_ = X11Desktop::open();
  if (desktop_) overlays_ = std::make_unique<X11Overlays>(*desktop_);
  services_ = x11DesktopServices(desktop_.get());
  own_ = guiClient();
}

Backends BackendChoice::forEngine() const {
  return Backends{makeScreenBackend(), own_, sound_, sampleCamera_, services_};
}

}  // namespace vorn
