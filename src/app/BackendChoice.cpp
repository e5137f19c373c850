// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/BackendChoice.h"

#include "capture/PlatformText.h"
#include "capture/SampleScreenBackend.h"
#include "desktop/OverlayBackend.h"
#include "platform/portal/PortalScreenBackend.h"
#include "platform/portal/PortalShortcut.h"
#include "platform/pulse/PulseSoundServer.h"
#include "platform/x11/GuiClient.h"
#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11DesktopServices.h"
#include "platform/x11/X11Overlays.h"
#include "platform/x11/X11ScreenBackend.h"

#include <QCoreApplication>
#include <QSettings>

#include <cstdlib>

namespace vorn {
namespace {

std::optional<std::string> named(const char* variable) {
  const char* value = std::getenv(variable);
  if (!value || !*value) return std::nullopt;
  return std::string(value);
}

// X11 clients on a Wayland desktop see only each other: there the screen comes through the
// portal.
bool waylandSession() {
  const auto type = named("XDG_SESSION_TYPE");
  return type ? *type == "wayland" : named("WAYLAND_DISPLAY").has_value();
}

// The portal's restore token, beside the preferences (and written by any thread).
RestoreTokenStore settingsTokens() {
  const auto settings = [] { return QSettings(QStringLiteral("Vorn"), QStringLiteral("Vorn")); };
  return {[settings] { return settings().value(QStringLiteral("screenShareToken")).toString().toStdString(); },
          [settings](const std::string& token) {
            settings().setValue(QStringLiteral("screenShareToken"), QString::fromStdString(token));
          }};
}

}  // namespace

std::unique_ptr<BackendChoice> BackendChoice::choose() {
  std::unique_ptr<BackendChoice> platform(new BackendChoice);
  platform->sampleScreen_ = named("VORN_SAMPLE_SCREEN");
  platform->wayland_ = !platform->sampleScreen_ && waylandSession();
  if (const auto camera = named("VORN_SAMPLE_CAMERA")) platform->sampleCamera_ = QString::fromStdString(*camera);
  platform->sound_ = std::make_shared<PulseSoundServer>();
  return platform;
}

BackendChoice::~BackendChoice() = default;

std::unique_ptr<ScreenBackend> BackendChoice::makeScreenBackend() const {
  if (sampleScreen_) return std::make_unique<SampleScreenBackend>(*sampleScreen_);
  if (wayland_) return std::make_unique<PortalScreenBackend>(settingsTokens());
  return std::make_unique<X11ScreenBackend>();
}

std::vector<DisplayInfo> BackendChoice::displays() const {
  const std::unique_ptr<ScreenBackend> backend = makeScreenBackend();
  std::vector<DisplayInfo> found = backend->displays();
  if (const auto why = backend->unavailable(); found.empty() && why) unavailable_ = platformText(*why);
  return found;
}

QString BackendChoice::noDisplay() const {
  if (!unavailable_.isEmpty()) return unavailable_;
  if (sampleScreen_)
    return QCoreApplication::translate("BackendChoice", "No display to capture: VORN_SAMPLE_SCREEN=%1 can't be shown.")
        .arg(QString::fromStdString(*sampleScreen_));
  const auto display = named("DISPLAY");
  if (!display) return QCoreApplication::translate("BackendChoice", "No display to capture: DISPLAY is not set.");
  return QCoreApplication::translate("BackendChoice", "No display to capture at DISPLAY=%1.")
      .arg(QString::fromStdString(*display));
}

void BackendChoice::openDesktop() {
  // X11's keys, clicks and overlays would reach only X clients on a Wayland desktop.
  if (!wayland_) {
    desktop_ = X11Desktop::open();
    if (desktop_) overlays_ = std::make_unique<X11Overlays>(*desktop_);
    services_ = x11DesktopServices(desktop_.get());
    own_ = guiClient();
  }
  // There no client may grab a key: the desktop holds Vorn's shortcut where it offers that.
  // A desktop's shortcuts are lasting chords the user may rebind; a bare key wanted for a
  // moment (Escape during a countdown) works in Vorn's own windows only.
  if (waylandSession() && PortalShortcut::offered())
    services_.grabKey = [](int key, Qt::KeyboardModifiers modifiers,
                           std::function<void()> pressed) -> std::shared_ptr<void> {
      if (modifiers == Qt::NoModifier) return nullptr;
      return PortalShortcut::bind(key, modifiers, std::move(pressed));
    };
}

Backends BackendChoice::forEngine() const {
  return Backends{makeScreenBackend(), own_, sound_, sampleCamera_, services_};
}

}  // namespace vorn
