// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vorn {

// What a start of `vorn` asks of the studio, its own or the one already running.
enum class StudioRequest { show, toggle, stop };

}  // namespace vorn
