// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace vorn::cut {

// Where the `claude` tool is: $VORN_CLAUDE_PATH when set (how tests bring a stand-in), else
// the first executable of "/home/LOGIN/.local/bin/claude" (the login name from the account
// database), "/home/linuxbrew/.linuxbrew/bin/claude" and "/usr/local/bin/claude".
std::optional<std::string> findClaude();

// Runs `program -p` with the prompt on its standard input and returns what it writes on
// standard output. Throws CutError when it cannot start, fails, writes more than 1 MB, or has
// not answered within `timeout` seconds; it and everything it started are then killed. It is
// also killed when vorncut is.
std::string askClaude(const std::string& program, const std::string& prompt, double timeout);

// The longest wait for an answer: $VORN_CLAUDE_TIMEOUT seconds when set, else two minutes.
double claudeTimeout();

}  // namespace vorn::cut
