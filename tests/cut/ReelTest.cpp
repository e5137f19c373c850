// SPDX-License-Identifier: GPL-3.0-or-later
// The reel engine run as the studio runs it, on a take espeak-ng read: its messages, the reel
// probed back, its companion files, and one "error" for each kind of bad input.
#include "SpokenTake.h"

#include "base/Av.h"
#include "model/ReelWork.h"
#include "support/ChildProcess.h"
#include "support/Eventually.h"
#include "support/MovieProbe.h"

#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <thread>

namespace fs = std::filesystem;

namespace vorn::cut {
namespace {

using test::runVorncut;
using test::scratch;
using test::spokenTake;

fs::path workFolder(const fs::path& reel) {
  return QFile::encodeName(reelWorkFolder(QFile::decodeName(reel.c_str()))).toStdString();
}

std::vector<QJsonObject> messages(const std::string& output) {
  std::vector<QJsonObject> list;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);)
    list.push_back(QJsonDocument::fromJson(QByteArray::fromStdString(line)).object());
  return list;
}

std::string slurp(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

// The reel's frame at `seconds` in grey levels, by the ffmpeg tool.
std::string greyFrame(const std::string& reel, double seconds) {
  std::string pixels;
  test::runCommand({"ffmpeg", "-v", "error", "-ss", std::to_string(seconds), "-i", reel,
                    "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "gray", "-"},
                   &pixels);
  return pixels;
}

int brightPixels(const std::string& grey, int top, int bottom) {
  int count = 0;
  for (int y = top; y < bottom; ++y)
    for (int x = 0; x < 1080; ++x) count += static_cast<unsigned char>(grey[y * 1080 + x]) > 180;
  return count;
}

std::vector<std::string> folderEntries(const fs::path& dir) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(dir)) names.push_back(entry.path().filename());
  return names;
}

struct Loudness {
  double integrated = 0;  // LUFS
  double truePeak = 0;    // dBTP
};

// The movie's loudness as FFmpeg's EBU R128 meter reads it.
Loudness loudnessOf(const std::string& movie) {
  std::string report;
  test::runCommand({"sh", "-c",
                    "ffmpeg -hide_banner -nostats -i \"$0\" -af ebur128=peak=true -f null - 2>&1",
                    movie},
                   &report);
  const auto valueAfter = [&](const std::string& label) {
    const std::size_t at = report.rfind(label);
    return at == std::string::npos ? 0.0 : std::atof(report.c_str() + at + label.size());
  };
  return {valueAfter("I:"), valueAfter("Peak:")};
}

class ReelTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    fs::create_directories(folder());
    std::ofstream(scratch() + "/script.txt") << spokenTake().script;
    // The cache on another file system than the reel where there is one (/dev/shm): each
    // finished file is then copied beside its name before the move into place.
    if (const char* before = std::getenv("XDG_CACHE_HOME")) cacheBefore = before;
    char cache[] = "/dev/shm/vorn-cache-XXXXXX";
    if (::mkdtemp(cache)) {
      otherCache = cache;
      setenv("XDG_CACHE_HOME", cache, 1);
    }
    // A link planted where the work folder goes, into a folder of someone else's.
    fs::create_directories(elsewhere());
    fs::create_directories(workFolder(reel()).parent_path());
    fs::create_directory_symlink(elsewhere(), workFolder(reel()));
    const mode_t umaskBefore = ::umask(022);
    status = runVorncut({"promo", spokenTake().path, "--jsonl", "--brain", "device", "--out",
                         reel(), "--script", scratch() + "/script.txt"},
                        &output);
    ::umask(umaskBefore);
  }
  static void TearDownTestSuite() {
    if (otherCache.empty()) return;
    std::error_code ignored;
    fs::remove_all(otherCache, ignored);
    setenv("XDG_CACHE_HOME", cacheBefore.c_str(), 1);
  }
  static fs::path elsewhere() { return scratch() + "/Elsewhere"; }
  static fs::path folder() { return scratch() + "/Reels"; }
  static std::string reel() { return folder() / "Spoken \u00B7 Reel.mp4"; }
  static int status;
  static std::string output;
  static std::string cacheBefore;
  static std::string otherCache;
};

int ReelTest::status = -1;
std::string ReelTest::output;
std::string ReelTest::cacheBefore;
std::string ReelTest::otherCache;

TEST_F(ReelTest, theRunReportsItsStagesStoryProgressAndDone) {
  EXPECT_EQ(status, 0);
  const std::vector<QJsonObject> list = messages(output);
  ASSERT_GE(list.size(), 6u) << output;
  EXPECT_EQ(list[0], QJsonObject({{"event", "stage"}, {"stage", "listening"}}));
  EXPECT_EQ(list[1], QJsonObject({{"event", "stage"}, {"stage", "story"}}));
  EXPECT_EQ(list[2]["event"], "story");
  EXPECT_EQ(list[2]["brain"], "device");
  EXPECT_FALSE(list[2]["headline"].toArray().isEmpty());
  EXPECT_EQ(list[3], QJsonObject({{"event", "stage"}, {"stage", "rendering"}}));
  double last = 0;
  for (std::size_t i = 4; i + 1 < list.size(); ++i) {
    EXPECT_EQ(list[i]["event"], "progress");
    EXPECT_GE(list[i]["value"].toDouble(), last);
    EXPECT_LE(list[i]["value"].toDouble(), 1);
    last = list[i]["value"].toDouble();
  }
  const QJsonObject done = list.back();
  EXPECT_EQ(done["event"], "done");
  EXPECT_EQ(done["video"].toString().toStdString(), reel());
  EXPECT_TRUE(done["duration"].isString());
  EXPECT_GT(done["duration"].toString().toDouble(), 5);
  EXPECT_FALSE(done["caption"].toString().isEmpty());
}

TEST_F(ReelTest, theReelIsAPortraitH264AacMovieShorterThanTheTakeWithItsMoovFirst) {
  const std::vector<test::StreamInfo> streams = test::probeStreams(QString::fromStdString(reel()));
  ASSERT_EQ(streams.size(), 2u);
  EXPECT_EQ(streams[0].codec, "h264");
  EXPECT_EQ(streams[0].width, 1080);
  EXPECT_EQ(streams[0].height, 1920);
  EXPECT_EQ(streams[1].codec, "aac");
  const double length = test::probeDuration(QString::fromStdString(reel()));
  EXPECT_LT(length, spokenTake().duration - 2) << "the pauses and silent edges are cut";
  EXPECT_GT(length, 6);
  const std::vector<std::string> boxes = test::topLevelBoxes(QString::fromStdString(reel()));
  const auto moov = std::find(boxes.begin(), boxes.end(), "moov");
  EXPECT_LT(moov, std::find(boxes.begin(), boxes.end(), "mdat"));
  const av::Input movie = av::openInput(reel());
  const AVDictionaryEntry* mark = av_dict_get(movie->metadata, "comment", nullptr, 0);
  ASSERT_TRUE(mark) << "a later run knows the reel as its own by its mark";
  EXPECT_EQ(std::string(mark->value), "Reel of " + fs::path(spokenTake().path).filename().string());
}

TEST_F(ReelTest, theReelPlaysAtPlatformLoudnessWithItsPeaksUnderTheCeiling) {
  const Loudness reelLoudness = loudnessOf(reel());
  EXPECT_NEAR(reelLoudness.integrated, -14, 1);
  EXPECT_LE(reelLoudness.truePeak, -1);
}

TEST(ReelLoudnessTest, aQuietTakeComesOutAtPlatformLoudness) {
  const std::string take = test::quietSpokenTake().path;
  ASSERT_NEAR(loudnessOf(take).integrated, -44, 2) << "a quiet take to begin with";
  const std::string reel = scratch() + "/Quiet \u00B7 Reel.mp4";
  std::string text;
  ASSERT_EQ(runVorncut({"promo", take, "--jsonl", "--brain", "device", "--out", reel}, &text), 0)
      << text;
  const Loudness reelLoudness = loudnessOf(reel);
  EXPECT_NEAR(reelLoudness.integrated, -14, 1);
  EXPECT_LE(reelLoudness.truePeak, -1);
}

TEST_F(ReelTest, captionsAreBurntInWhereWordsAreSpoken) {
  const std::string grey = greyFrame(reel(), 1.0);
  ASSERT_EQ(grey.size(), 1080u * 1920u);
  EXPECT_GT(brightPixels(grey, 1140, 1340), 2000) << "the caption line";
  EXPECT_EQ(brightPixels(grey, 1500, 1800), 0) << "the dark take below it";
}

TEST_F(ReelTest, theCoverCaptionAndPictureLieBesideTheReelAndTheWorkFolderInTheCache) {
  const QImage cover(QString::fromStdString(folder() / "Spoken \u00B7 Reel.cover.jpg"));
  EXPECT_EQ(cover.size(), QSize(1080, 1920));
  const QJsonObject done = messages(output).back();
  EXPECT_EQ(slurp(folder() / "Spoken \u00B7 Reel.caption.txt"),
            done["caption"].toString().toStdString() + "\n");
  const fs::path picture = folder() / ".Spoken \u00B7 Reel.mp4.picture.mp4";
  ASSERT_TRUE(fs::exists(picture));
  EXPECT_EQ(test::probeStreams(QString::fromStdString(picture)).size(), 1u);
  const fs::path work = workFolder(reel());
  ASSERT_TRUE(fs::is_directory(work));
  EXPECT_TRUE(fs::exists(work / "words.txt"));
  for (const std::string& name : folderEntries(work))
    EXPECT_NE(name.rfind("draft.", 0), 0u) << name;
  for (const std::string& name : folderEntries(folder())) EXPECT_FALSE(name.ends_with(".part")) << name;
}

TEST_F(ReelTest, theReelsFilesAreTheUsersAloneAndNothingIsWrittenThroughALink) {
  const auto mode = [](const fs::path& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0u;
  };
  for (const char* name : {"Spoken \u00B7 Reel.mp4", "Spoken \u00B7 Reel.cover.jpg",
                           "Spoken \u00B7 Reel.caption.txt", ".Spoken \u00B7 Reel.mp4.picture.mp4"})
    EXPECT_EQ(mode(folder() / name), 0600u) << name;
  const fs::path work = workFolder(reel());
  EXPECT_FALSE(fs::is_symlink(work));
  EXPECT_EQ(mode(work), 0700u);
  for (const std::string& name : folderEntries(work)) EXPECT_EQ(mode(work / name), 0600u) << name;
  EXPECT_TRUE(folderEntries(elsewhere()).empty()) << folderEntries(elsewhere()).front();
}

TEST(ReelClaudeTest, vorncutUsesTheStoryOfTheClaudeItIsPointedAt) {
  const std::string claude = scratch() + "/claude";
  std::ofstream(claude) << "#!/bin/sh\necho '{\"segments\":[{\"start\":0.5,\"end\":4.8}],"
                           "\"headline\":[\"One thing\"],\"caption\":\"One thing. #video\"}'\n";
  fs::permissions(claude, fs::perms::owner_all);
  setenv("VORN_CLAUDE_PATH", claude.c_str(), 1);
  std::string text;
  const int status = runVorncut({"promo", spokenTake().path, "--jsonl", "--brain", "claude",
                                 "--out", scratch() + "/Claude \u00B7 Reel.mp4"},
                                &text);
  unsetenv("VORN_CLAUDE_PATH");
  EXPECT_EQ(status, 0);
  const std::vector<QJsonObject> list = messages(text);
  ASSERT_GE(list.size(), 3u) << text;
  EXPECT_EQ(list[2]["brain"], "claude");
  EXPECT_EQ(list[2]["caption"], "One thing. #video");
  EXPECT_EQ(list.back()["caption"], "One thing. #video");
  // claude's opening sentence and the closing line every story keeps, not the one between.
  const std::vector<Span>& spoken = spokenTake().spoken;
  EXPECT_LT(list.back()["duration"].toString().toDouble(),
            spoken[0].length() + spoken[2].length() + 1.0);
}

// Whether the process `pid` has ended (a zombie has).
bool ended(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(stat, line)) return true;
  return line.substr(line.rfind(')') + 2, 1) == "Z";
}

// A vorncut killed outright (as the studio's watchdog does) takes its claude along.
TEST(ReelClaudeTest, aVorncutKilledOutrightTakesItsClaudeAlong) {
  const std::string claude = scratch() + "/slow-claude";
  {
    std::ofstream script(claude);
    script << "#!/bin/sh\necho $$ > \"$0.pid\"\nexec sleep 600\n";
  }
  fs::permissions(claude, fs::perms::owner_all);
  setenv("VORN_CLAUDE_PATH", claude.c_str(), 1);
  test::ChildProcess run({std::string(VORN_BINARY_DIR) + "/vorncut", "promo", spokenTake().path, "--jsonl",
                          "--brain", "claude", "--out", scratch() + "/Killed \u00B7 Reel.mp4"});
  unsetenv("VORN_CLAUDE_PATH");
  pid_t pid = 0;
  ASSERT_TRUE(test::eventually([&] { return (pid = std::atoi(slurp(claude + ".pid").c_str())) > 0; }, 240))
      << "claude was never asked";
  ::kill(run.pid(), SIGKILL);
  EXPECT_TRUE(test::eventually([&] { return ended(pid); })) << "claude outlived vorncut";
}

// One run on bad input: exactly one "error" line, a non-zero exit, nothing left behind.
void expectOneError(const std::vector<std::string>& arguments, const char* contains = "") {
  const fs::path out = scratch() + "/bad";
  fs::remove_all(out);
  fs::create_directories(out);
  std::vector<std::string> full = arguments;
  if (full.size() > 1) full.insert(full.end(), {"--jsonl", "--out", out / "Bad \u00B7 Reel.mp4"});
  std::string text;
  EXPECT_NE(runVorncut(full, &text), 0);
  const std::vector<QJsonObject> list = messages(text);
  ASSERT_EQ(list.size(), 1u) << text;
  EXPECT_EQ(list[0]["event"], "error");
  const std::string message = list[0]["message"].toString().toStdString();
  EXPECT_FALSE(message.empty());
  EXPECT_NE(message.find(contains), std::string::npos) << message;
  EXPECT_TRUE(folderEntries(out).empty()) << folderEntries(out).front();
}

TEST(ReelErrorTest, aCorruptOrTruncatedTakeIsOneError) {
  std::ofstream(scratch() + "/corrupt.mp4") << "this is not a movie at all";
  expectOneError({"promo", scratch() + "/corrupt.mp4"});
  const std::string whole = slurp(spokenTake().path);
  std::ofstream(scratch() + "/half.mp4", std::ios::binary) << whole.substr(0, whole.size() / 2);
  expectOneError({"promo", scratch() + "/half.mp4"});
  expectOneError({"promo", scratch() + "/missing.mp4"});
}

// A FIFO would hold the first read forever: refused, as the take and as the preferences.
TEST(ReelErrorTest, anythingButARegularFileIsRefused) {
  const std::string fifo = scratch() + "/fifo.mp4";
  fs::remove(fifo);
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  expectOneError({"promo", fifo}, "isn't a regular file");
  const std::string config = scratch() + "/fifo-config";
  fs::create_directories(config + "/Vorn");
  fs::remove(config + "/Vorn/Vorn.conf");
  ASSERT_EQ(::mkfifo((config + "/Vorn/Vorn.conf").c_str(), 0600), 0);
  const char* before = std::getenv("XDG_CONFIG_HOME");
  const std::string saved = before ? before : "";
  setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  expectOneError({"promo", spokenTake().path}, "isn't a regular file");
  if (before)
    setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
  else
    unsetenv("XDG_CONFIG_HOME");
}

// A take of picture alone, of silence, or of a steady tone: each says what it lacks.
TEST(ReelErrorTest, aTakeWithoutSoundOrWithSilenceHasNoSpeech) {
  expectOneError({"promo", test::silentTake("mute", 2, false)}, "no speech");
  expectOneError({"promo", test::silentTake("silent", 2, true)}, "no usable speech");
  const std::string tone = scratch() + "/tone.mp4";
  test::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                    "color=c=black:s=320x568:r=30:d=3", "-f", "lavfi", "-i",
                    "sine=f=1000:r=48000:d=3", "-c:v", "libx264", "-preset", "ultrafast",
                    "-c:a", "aac", "-shortest", tone});
  expectOneError({"promo", tone}, "sound but no speech");
}

// The reel never replaces its take, nor a file of the user's that happens to have its name.
TEST(ReelErrorTest, aReelThatWouldReplaceItsTakeOrAnotherFileIsRefused) {
  const std::string take = scratch() + "/own.mp4";
  fs::copy_file(spokenTake().path, take, fs::copy_options::overwrite_existing);
  const std::string before = slurp(take);
  const std::string letter = scratch() + "/letter.mp4";
  std::ofstream(letter) << "a file of the user's";
  for (const std::string& out : {take, letter}) {
    std::string text;
    EXPECT_NE(runVorncut({"promo", take, "--jsonl", "--out", out}, &text), 0);
    const std::vector<QJsonObject> list = messages(text);
    ASSERT_EQ(list.size(), 1u) << text;
    EXPECT_NE(list[0]["message"].toString().indexOf("choose another --out"), -1) << text;
  }
  EXPECT_EQ(slurp(take), before);
  EXPECT_EQ(slurp(letter), "a file of the user's");
}

// A script longer than the prompter reads is refused, not laid in part.
TEST(ReelErrorTest, aScriptTooLongIsRefused) {
  const std::string script = scratch() + "/long-script.txt";
  std::ofstream(script) << std::string(10'001, 'a');
  expectOneError({"promo", spokenTake().path, "--script", script}, "longer than the 10,000");
}

TEST(ReelErrorTest, anUnwritableReelOrAWrongCommandLineIsOneError) {
  std::string text;
  EXPECT_NE(runVorncut({"promo", spokenTake().path, "--jsonl", "--out", "/proc/R \u00B7 Reel.mp4"},
                       &text),
            0);
  ASSERT_EQ(messages(text).size(), 1u) << text;
  EXPECT_EQ(messages(text)[0]["event"], "error");
  expectOneError({"promo", spokenTake().path, "--loud"});
  EXPECT_EQ(runVorncut({"promo", "--jsonl"}, &text), 2);
  EXPECT_EQ(messages(text).size(), 1u);
  EXPECT_EQ(runVorncut({"promo", spokenTake().path, "--jsonl", "--out", ""}, &text), 2);
  EXPECT_EQ(messages(text).size(), 1u);
}

TEST(ReelStopTest, aTerminatedRunLeavesNoHalfWrittenReel) {
  const fs::path out = scratch() + "/stopped";
  fs::create_directories(out);
  const fs::path reel = out / "Stopped \u00B7 Reel.mp4";
  const fs::path draft = workFolder(reel) / "draft.Stopped \u00B7 Reel.mp4";
  test::ChildProcess run({std::string(VORN_BINARY_DIR) + "/vorncut", "promo", spokenTake().path,
                          "--jsonl", "--out", reel});
  for (int i = 0; i < 600 && run.running() && !fs::exists(draft); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  run.stop();
  EXPECT_FALSE(fs::exists(draft));
  // Had the run won the race, its reel is whole; otherwise there is none.
  if (fs::exists(reel)) {
    EXPECT_EQ(test::probeStreams(QString::fromStdString(reel)).size(), 2u);
  }
}

}  // namespace
}  // namespace vorn::cut
