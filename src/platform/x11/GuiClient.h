// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "capture/OwnClient.h"

namespace vorn {

// This process's GUI client: the id range of Qt's X connection; empty without one.
OwnClient guiClient();

}  // namespace vorn
