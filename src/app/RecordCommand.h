// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vorn {

// `vorn record …`: records one take without the studio's windows and prints its path, its
// duration and the count of dropped frames. Returns the process's exit code.
int runRecordCommand(int argc, char** argv);

}  // namespace vorn
