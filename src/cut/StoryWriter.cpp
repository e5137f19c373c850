// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/StoryWriter.h"

#include "base/Log.h"
#include "cut/Claude.h"
#include "cut/ClaudeStory.h"

namespace vorn::cut {
namespace {

// claude's story, or why there is none.
Story askedStory(const Options& options, const Transcript& transcript) {
  const std::optional<std::string> claude = findClaude();
  if (!claude) throw CutError("claude isn't installed in any of its places.");
  const std::string prompt = storyPrompt(transcript, options.theme, Budget{});
  return claudeStory(askClaude(*claude, prompt, claudeTimeout()), transcript, Budget{});
}

}  // namespace

Story writeStory(const Options& options, const Transcript& transcript) {
  if (options.brain == "claude") {
    try {
      return askedStory(options, transcript);
    } catch (const CutError& error) {
      logError(std::string("reel engine: ") + error.what() + " This computer writes the story.");
    }
  }
  return deviceStory(transcript, options.theme);
}

}  // namespace vorn::cut
