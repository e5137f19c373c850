// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <Qt>

#include <functional>
#include <memory>

namespace vorn {

class X11Desktop;

// A system-wide key: grabbed on the root window for every state of the lock keys (Caps Lock,
// Num Lock, Scroll Lock), so it works whatever the keyboard's lights say. The handler runs on
// the GUI thread. Dropping the object gives the key back.
class HotKey {
 public:
  // Null when the key has no key code here or another client holds it already.
  static std::unique_ptr<HotKey> grab(X11Desktop& desktop, int qtKey,
                                      Qt::KeyboardModifiers modifiers, std::function<void()> handler);
  ~HotKey();
  HotKey(const HotKey&) = delete;
  HotKey& operator=(const HotKey&) = delete;

 private:
  HotKey(X11Desktop& desktop, uint8_t keycode, uint16_t modifiers, uint16_t locks);

  X11Desktop& desktop_;
  uint8_t keycode_;
  uint16_t modifiers_;
  uint16_t locks_;  // every lock modifier this server has
  uint32_t releasedAt_ = 0;  // server time of the last release, to tell auto-repeat apart
  std::shared_ptr<void> listening_;
};

}  // namespace vorn
