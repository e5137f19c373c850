#include "cut/StoryWriter.h"

namespace vorn::cut {

Story writeStory(const Options& options, const Transcript& transcript) {
  return deviceStory(transcript, options.theme);
}

}  // namespace vorn::cut
