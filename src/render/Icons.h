// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QIcon>

#include <string_view>

namespace vorn {

// The one table of symbols: each symbol name the interface uses maps to an icon drawn here.
QIcon symbolIcon(std::string_view name);

}  // namespace vorn
