// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Promo.h"

#include "base/Log.h"
#include "base/OwnFiles.h"
#include "cut/Captions.h"
#include "cut/CutPlacement.h"
#include "cut/Interrupt.h"
#include "cut/Listen.h"
#include "cut/Loudness.h"
#include "cut/Pauses.h"
#include "cut/Picture.h"
#include "cut/PictureGrid.h"
#include "cut/ReelFiles.h"
#include "cut/SoundLevels.h"
#include "cut/Render.h"
#include "cut/SphinxRecogniser.h"
#include "cut/StoryWriter.h"
#include "model/Prefs.h"

#include <QFile>

#include <cstdio>
#include <fstream>

namespace vorn::cut {
namespace {

// The cover is taken this far into the reel, while the headline shows.
constexpr double kCoverTime = 1.5;

// Anything but a regular file (a FIFO would hold the first read forever) is refused.
void requireRegularFile(const std::string& path, const std::string& what) {
  std::error_code error;
  if (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error))
    throw CutError("The " + what + " isn't a regular file: " + path + ".");
}

std::string readFile(const std::string& path) {
  requireRegularFile(path, "script");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw CutError("The script file can't be read: " + path + ".");
  // The prompter reads no further: neither does the reel. A longer script is refused rather than
  // cut short, so no reel is laid on half of it unannounced.
  std::string text(std::size_t(Prefs::maxScriptLength) * 4 + 1, '\0');  // UTF-8: 4 bytes at most
  in.read(text.data(), std::streamsize(text.size()));
  text.resize(std::size_t(in.gcount()));
  const QString script = QString::fromUtf8(text);
  if (script.size() > Prefs::maxScriptLength || text.size() > std::size_t(Prefs::maxScriptLength) * 4)
    throw CutError("The script is longer than the 10,000 characters a reel reads: shorten it.");
  return script.toStdString();
}

void writeFile(const std::filesystem::path& path, const std::string& text) {
  QFile out;
  if (!OwnFiles::create(out, path.string()) ||
      out.write(text.data(), qint64(text.size())) != qint64(text.size()) || !out.flush())
    throw CutError("The reel's work files can't be written.");
}

// The script the user read from: the one given by hand, else the one the studio saved with the
// reel's job when the take ended, else the prompter's script as saved now.
std::string scriptFor(const Options& options, const ReelFiles& files) {
  if (!options.scriptFile.empty()) return readFile(options.scriptFile);
  std::error_code error;
  if (std::filesystem::is_regular_file(files.script, error)) return readFile(files.script.string());
  return Prefs::load().script.left(Prefs::maxScriptLength).toStdString();
}

// The words as heard, one a line ("start end confidence word"), for whoever wonders why.
std::string wordList(const Transcript& transcript) {
  std::string text;
  char line[64];
  for (const Word& word : transcript.words) {
    std::snprintf(line, sizeof line, "%.2f %.2f %.2f ", word.start, word.end, word.confidence);
    text += line + word.text + "\n";
  }
  return text;
}

// The stretches of the take the reel is cut from, one a line ("start end").
std::string cutList(const Story& story) {
  std::string text;
  char line[64];
  for (const Span& segment : story.segments) {
    std::snprintf(line, sizeof line, "%.3f %.3f\n", segment.start, segment.end);
    text += line;
  }
  return text;
}

// A steady sound this loud or louder is sound, not silence, even when it holds no speech.
constexpr double kSoundDb = -60;

// A take without sound, or without speech in it, is refused before listening starts.
Pcm soundOf(const Options& options) {
  Pcm pcm = decodeTakeAudio(options.take);
  if (!findSpeech(pcm).empty()) return pcm;
  if (SoundLevels::of(pcm).floorDb >= kSoundDb)
    throw CutError("The take has sound but no speech in it: there is no talk to cut.");
  throw CutError("The take is silent: it holds no usable speech to cut.");
}

Transcript listenTo(const Options& options, const ReelFiles& files, const Pcm& pcm,
                    Report& report) {
  const std::string script = scriptFor(options, files);
  report.stage("listening");
  return listen(
      pcm, [] { return std::make_unique<SphinxRecogniser>(); }, script);
}

double render(const Options& options, const Story& story, const Pcm& pcm, const PictureGrid& grid,
              const ReelFiles& files, Report& report) {
  report.stage("rendering");
  const std::filesystem::path captions = files.work / "captions.ass";
  writeFile(captions, captionScript(story, options.camera, grid.spacing()));
  RenderJob job{options.take,
                story.segments,
                FaceFinish{options.face, options.camera},
                captions.string(),
                files.draft(files.reel).string(),
                files.draft(files.cover).string(),
                std::min(kCoverTime, story.length() / 2),
                [&](double value) { report.progress(value); },
                reelGainDb(pcm, story.segments)};
  const double length = renderReel(job);
  writePicture(job.reel, files.draft(files.picture).string());
  writeFile(files.draft(files.caption), story.caption + "\n");
  return length;
}

}  // namespace

int promo(const Options& options, Report& report) {
  const ReelFiles files(options.out);
  try {
    requireRegularFile(options.take, "take");
    const double takeLength = takeDuration(options.take);
    files.refuseToReplace(options.take);
    files.prepare();
    std::vector<std::string> drafts;
    for (const auto& final : {files.reel, files.cover, files.picture, files.caption}) {
      drafts.push_back(files.draft(final).string());
      drafts.push_back(files.part(final).string());
    }
    removeOnTermination(drafts);
    const Pcm pcm = soundOf(options);
    Transcript transcript = listenTo(options, files, pcm, report);
    transcript.duration = std::min(transcript.duration, takeLength);
    writeFile(files.work / "words.txt", wordList(transcript));
    report.stage("story");
    Story story = writeStory(options, transcript);
    const PictureGrid grid(options.take);
    placeCuts(story, transcript, grid);
    writeFile(files.work / "cuts.txt", cutList(story));
    report.story(story);
    const double length = render(options, story, pcm, grid, files, report);
    files.publish();
    report.done(files.reel.string(), story.caption, length);
    return 0;
  } catch (const std::exception& error) {
    files.discard();
    logError(std::string("reel engine: ") + error.what());
    report.error(error.what());
    return 1;
  }
}

}  // namespace vorn::cut
