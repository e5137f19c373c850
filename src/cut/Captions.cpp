// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Captions.h"

#include "cut/StoryText.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>

namespace vorn::cut {
namespace {

constexpr std::size_t kWordsPerLine = 3;
constexpr double kHeadlineSeconds = 3;
// A caption line stays up at most this long after its last word.
constexpr double kLinger = 0.6;
constexpr double kLineBreakPause = 0.4;

const char* const kHeader =
    "[Script Info]\n"
    "ScriptType: v4.00+\n"
    "PlayResX: 1080\n"
    "PlayResY: 1920\n"
    "WrapStyle: 0\n"
    "ScaledBorderAndShadow: yes\n"
    "\n"
    "[V4+ Styles]\n"
    "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, "
    "BackColour, Bold, Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, "
    "BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, MarginV, Encoding\n"
    "Style: Words,DejaVu Sans,86,&H00FFFFFF,&H00FFFFFF,&H00000000,&H80000000,-1,0,0,0,100,100,"
    "0,0,1,7,2,5,120,180,0,1\n"
    "Style: Headline,DejaVu Sans,72,&H00FFFFFF,&H00FFFFFF,&H00000000,&HA0000000,-1,0,0,0,100,"
    "100,0,0,3,18,0,8,120,120,300,1\n"
    "\n"
    "[Events]\n"
    "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";

// The word being said, in gold; ASS colours are blue-green-red.
const char* const kHighlight = "{\\c&H0000D7FF&}";
const char* const kPlain = "{\\c&H00FFFFFF&}";
// The caption lines' centre: between the left margin and the platforms' button column on the
// right (the style's margins), below the face and above every platform's bottom bar.
constexpr int kFrameHeight = 1920;
constexpr int kWordsX = 510;
constexpr int kWordsY = 1240;
// Half the height of two caption lines with their outline, and room to the camera's edge.
constexpr int kWordsHalfHeight = 110;
constexpr int kCameraClearance = 20;
// Where caption lines may stand: under the headline, above the bottom bar (the strictest
// platform's insets).
constexpr int kHighestWords = 520;
constexpr int kLowestWords = 1440;

// The caption lines' place: the usual one unless the camera covers it, then just above or
// below the camera, whichever is nearer; over the camera only when it fills the frame.
std::string wordsPlace(const CameraPlace& camera) {
  int y = kWordsY;
  if (camera) {
    const double top = (*camera)[1] * kFrameHeight;
    const double bottom = ((*camera)[1] + (*camera)[3]) * kFrameHeight;
    const int reach = kWordsHalfHeight + kCameraClearance;
    if (kWordsY + reach > top && kWordsY - reach < bottom) {
      const int above = int(top) - reach, below = int(std::ceil(bottom)) + reach;
      const bool aboveFits = above >= kHighestWords, belowFits = below <= kLowestWords;
      if (aboveFits && (!belowFits || kWordsY - above <= below - kWordsY))
        y = above;
      else if (belowFits)
        y = below;
    }
  }
  return "{\\pos(" + std::to_string(kWordsX) + "," + std::to_string(y) + ")}";
}

std::string clock(double seconds) {
  const long centis = std::lround(std::max(seconds, 0.0) * 100);
  char text[32];
  std::snprintf(text, sizeof text, "%ld:%02ld:%02ld.%02ld", centis / 360000, centis / 6000 % 60,
                centis / 100 % 60, centis % 100);
  return text;
}

std::string shown(const std::string& word) {
  std::string text;
  for (unsigned char c : displayable(word))
    if (c != '{' && c != '}' && c != '\\') text += char(std::toupper(c));
  return text;
}

std::string event(const char* style, double start, double end, const std::string& text) {
  return std::string("Dialogue: 0,") + clock(start) + "," + clock(end) + "," + style + ",,0,0,0,," +
         text + "\n";
}

// A line's last word stays lit a moment after it is said, never past `until` nor over talk
// that follows it.
double lingerEnd(const Story& story, const Word& word, double until) {
  const double said = word.heardUntil > 0 ? word.heardUntil : word.end;
  double end = std::min(reelTime(story.segments, said) + kLinger, until);
  if (word.talkAfter > 0) end = std::min(end, reelTime(story.segments, word.talkAfter));
  return end;
}

// One line of words at `place`, shown once per word with that word lit, gone by `until` at
// the latest.
std::string lineEvents(const Story& story, std::size_t first, std::size_t last, double until,
                       const std::string& place, double lead) {
  std::string events;
  for (std::size_t lit = first; lit <= last; ++lit) {
    const double start = std::max(0.0, reelTime(story.segments, story.words[lit].litFrom()) - lead);
    const double end = (lit < last ? reelTime(story.segments, story.words[lit + 1].litFrom())
                                   : lingerEnd(story, story.words[lit], until)) -
                       lead;
    std::string text = place;
    for (std::size_t i = first; i <= last; ++i)
      text += (i > first ? " " : "") + std::string(i == lit ? kHighlight : kPlain) +
              shown(story.words[i].text);
    if (end > start) events += event("Words", start, end, text);
  }
  return events;
}

bool sure(const Word& word) { return word.confidence >= kSureConfidence; }

// The words heard with confidence a few at a time, each line shown while its words are said.
// Only those are burned in (a wrong word on screen is worse than none), but every word heard
// ends the line before it: a caption never stays lit over words it leaves out.
std::string wordEvents(const Story& story, const std::string& place, double lead) {
  const std::vector<Word>& words = story.words;
  std::string events;
  for (std::size_t first = 0; first < words.size();) {
    if (!sure(words[first])) {
      ++first;
      continue;
    }
    std::size_t last = first;
    // A line ends at a pause or a sentence's end, so words said apart are never shown together.
    while (last + 1 < words.size() && last + 1 - first < kWordsPerLine && sure(words[last + 1]) &&
           !words[last].endsSentence && words[last + 1].start - words[last].end < kLineBreakPause)
      ++last;
    const double until = last + 1 < words.size() ? reelTime(story.segments, words[last + 1].litFrom())
                                                 : story.length() + kLinger;
    events += lineEvents(story, first, last, until, place, lead);
    first = last + 1;
  }
  return events;
}

}  // namespace

double reelTime(const std::vector<Span>& segments, double takeTime) {
  double before = 0;
  for (const Span& segment : segments) {
    if (takeTime < segment.start) return before;
    if (takeTime <= segment.end) return before + takeTime - segment.start;
    before += segment.length();
  }
  return before;
}

std::string captionScript(const Story& story, const CameraPlace& camera, double pictureSeconds) {
  std::string script = kHeader;
  std::string headline;
  for (const std::string& line : story.headline)
    headline += (headline.empty() ? "" : "\\N") + shown(line);
  if (!headline.empty()) script += event("Headline", 0, kHeadlineSeconds, headline);
  return script + wordEvents(story, wordsPlace(camera), pictureSeconds / 2);
}

}  // namespace vorn::cut
