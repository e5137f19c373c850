// SPDX-License-Identifier: GPL-3.0-or-later
#include "capture/ScreenBackend.h"

#include "capture/SampleScreenBackend.h"
#include "capture/X11ScreenBackend.h"

#include <cstdlib>

namespace vorn {

std::unique_ptr<ScreenBackend> makeScreenBackend() {
  const char* sample = std::getenv("VORN_SAMPLE_SCREEN");
  if (sample && *sample) return std::make_unique<SampleScreenBackend>(sample);
  return std::make_unique<X11ScreenBackend>();
}

}  // namespace vorn
