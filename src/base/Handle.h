// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

namespace vorn {

// A handle that runs `release` when its last copy goes: how a service says "while you hold
// this". Never null, so that holders can test whether they got one.
inline std::shared_ptr<void> releasing(std::function<void()> release) {
  struct Held {
    std::function<void()> release;
    ~Held() {
      if (release) release();
    }
  };
  auto held = std::make_shared<Held>();
  held->release = std::move(release);
  return held;
}

}  // namespace vorn
