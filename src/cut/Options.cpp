// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Options.h"

#include "cut/Words.h"

#include <algorithm>
#include <sstream>

namespace vorn::cut {
namespace {

bool startsWith(const std::string& text, const std::string& prefix) {
  return text.rfind(prefix, 0) == 0;
}

std::array<double, 4> cameraRect(const std::string& text) {
  const CutError wrong("The camera place must be four fractions: --camera=X,Y,W,H.");
  std::array<double, 4> rect{};
  std::istringstream in(text);
  std::string part;
  std::size_t count = 0;
  while (std::getline(in, part, ',')) {
    std::size_t used = 0;
    double value = -1;
    try {
      value = std::stod(part, &used);
    } catch (const std::exception&) {
      throw wrong;
    }
    if (count >= rect.size() || used != part.size() || value < 0 || value > 1) throw wrong;
    rect[count++] = value;
  }
  if (count != rect.size()) throw wrong;
  return rect;
}

// The value of an option given as "--name=value" or "--name value".
std::string valueOf(const std::vector<std::string>& arguments, std::size_t& at,
                    const std::string& name) {
  const std::string& argument = arguments[at];
  if (argument.size() > name.size() && argument[name.size()] == '=')
    return argument.substr(name.size() + 1);
  if (at + 1 >= arguments.size()) throw CutError("The option " + name + " needs a value.");
  return arguments[++at];
}

bool matches(const std::string& argument, const std::string& name) {
  return argument == name || startsWith(argument, name + "=");
}

void check(const Options& options) {
  if (options.take.empty()) throw CutError("No take was given: vorncut promo TAKE --out REEL.");
  if (options.out.empty()) throw CutError("No reel path was given: add --out REEL.");
  if (options.brain != "device" && options.brain != "claude")
    throw CutError("The story writer must be \"device\" or \"claude\".");
  if (!options.face.empty() && options.face != "natural" && options.face != "sculpted")
    throw CutError("The face finish must be \"natural\" or \"sculpted\".");
  if (!options.face.empty() && !options.camera)
    throw CutError("A face finish needs the camera's place: --camera=X,Y,W,H.");
}

}  // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
  if (arguments.empty() || arguments[0] != "promo")
    throw CutError("The only command is promo: vorncut promo TAKE --out REEL.");
  Options options;
  for (std::size_t at = 1; at < arguments.size(); ++at) {
    const std::string& argument = arguments[at];
    if (argument == "--jsonl")
      options.jsonLines = true;
    else if (matches(argument, "--brain"))
      options.brain = valueOf(arguments, at, "--brain");
    else if (matches(argument, "--out"))
      options.out = valueOf(arguments, at, "--out");
    else if (matches(argument, "--script"))
      options.scriptFile = valueOf(arguments, at, "--script");
    else if (startsWith(argument, "--theme="))
      options.theme = argument.substr(8);
    else if (startsWith(argument, "--face="))
      options.face = argument.substr(7);
    else if (startsWith(argument, "--camera="))
      options.camera = cameraRect(argument.substr(9));
    else if (startsWith(argument, "-"))
      throw CutError("Unknown option " + argument + ".");
    else if (options.take.empty())
      options.take = argument;
    else
      throw CutError("Only one take can be cut at a time.");
  }
  check(options);
  return options;
}

bool wantsJsonLines(const std::vector<std::string>& arguments) {
  return std::find(arguments.begin(), arguments.end(), "--jsonl") != arguments.end();
}

}  // namespace vorn::cut
