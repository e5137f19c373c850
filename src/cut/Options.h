// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace vorn::cut {

// The reel engine's command line:
//   vorncut promo TAKE [--jsonl] [--brain claude|device] --out REEL [--theme=TEXT]
//           [--face=natural|sculpted --camera=X,Y,W,H] [--script FILE]
struct Options {
  std::string take;
  std::string out;
  bool jsonLines = false;
  std::string brain = "device";
  std::string theme;
  std::string face;
  std::optional<std::array<double, 4>> camera;
  std::string scriptFile;
  bool help = false;
  bool version = false;
};

// Reads the arguments after the program name; throws CutError naming what is wrong. With
// --help or --version nothing else is read.
Options parseOptions(const std::vector<std::string>& arguments);

// The help text.
std::string usage();

// Whether the arguments ask for JSON lines, even when they are wrong otherwise.
bool wantsJsonLines(const std::vector<std::string>& arguments);

}  // namespace vorn::cut
