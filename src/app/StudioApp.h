#pragma once

namespace vorn {

// `vorn` without a command: the studio with its tray menu and hot key.
int runStudio(int argc, char** argv);

}  // namespace vorn
