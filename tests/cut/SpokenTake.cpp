// SPDX-License-Identifier: GPL-3.0-or-later
#include "SpokenTake.h"

#include "cut/TakeAudio.h"
#include "support/ChildProcess.h"
#include "support/TestServices.h"

#include <filesystem>
#include <stdexcept>

namespace vorn::test {
namespace {

const std::vector<std::string> kSentences = {
    "Here is the one thing nobody tells you about recording videos.",
    "Good light matters more than 2 expensive cameras.",
    "Why does that work? Because your face is what people watch.",
};
constexpr double kLead = 1.0;
constexpr double kGap = 1.2;
constexpr double kTail = 1.5;

void run(const std::vector<std::string>& argv) {
  if (runCommand(argv) != 0) throw std::runtime_error("test take: " + argv[0] + " failed");
}

// The sentences said `volumeDb` louder or softer, over pink noise of `noise` amplitude (none
// at 0).
SpokenTake make(const std::string& name, double volumeDb, double noise = 0) {
  const SpokenSound sound = spokenSound(name, kSentences);
  SpokenTake take;
  take.path = scratch() + "/" + name + ".mp4";
  take.sentences = kSentences;
  take.spoken = sound.spoken;
  take.duration = sound.duration;
  for (const std::string& sentence : kSentences) take.script += sentence + "\n";
  const std::string length = std::to_string(take.duration);
  std::string graph = "[0]volume=" + std::to_string(volumeDb) + "dB[voice];";
  graph += noise > 0 ? "anoisesrc=c=pink:seed=3:r=22050:a=" + std::to_string(noise) + ":d=" +
                           length + "[noise];[voice][noise]amix=inputs=2:normalize=0[mix];"
                     : "[voice]anull[mix];";
  graph += "[mix]aresample=48000[a];color=c=0x202830:s=540x960:r=30:d=" + length + "[v]";
  run({"ffmpeg", "-v", "error", "-y", "-i", sound.path, "-filter_complex", graph, "-map", "[v]",
       "-map", "[a]", "-c:v", "libx264", "-preset", "ultrafast", "-c:a", "aac", take.path});
  return take;
}

}  // namespace

SpokenSound spokenSound(const std::string& name, const std::vector<std::string>& sentences,
                        const std::vector<std::string>& voice) {
  SpokenSound sound;
  sound.path = scratch() + "/" + name + ".wav";
  std::vector<std::string> argv = {"ffmpeg", "-v", "error", "-y"};
  std::string graph = "aevalsrc=0:d=" + std::to_string(kLead) + ":s=22050[lead];";
  std::string joined = "[lead]";
  double at = kLead;
  for (std::size_t i = 0; i < sentences.size(); ++i) {
    const std::string wav = scratch() + "/" + name + "-sentence" + std::to_string(i) + ".wav";
    std::vector<std::string> speak = {"espeak-ng", "-w", wav};
    speak.insert(speak.end(), voice.begin(), voice.end());
    speak.push_back(sentences[i]);
    run(speak);
    const double length = cut::takeDuration(wav);
    sound.spoken.push_back({at, at + length});
    const double pad = i + 1 < sentences.size() ? kGap : kTail;
    at += length + pad;
    argv.insert(argv.end(), {"-i", wav});
    const std::string k = std::to_string(i);
    graph += "[" + std::to_string(i) + "]apad=pad_dur=" + std::to_string(pad) + "[s" + k + "];";
    joined += "[s" + k + "]";
  }
  sound.duration = at;
  graph += joined + "concat=n=" + std::to_string(sentences.size() + 1) + ":v=0:a=1[a]";
  argv.insert(argv.end(), {"-filter_complex", graph, "-map", "[a]", sound.path});
  run(argv);
  return sound;
}

std::string underMusic(const SpokenSound& sound) {
  const std::string root =
      "if(eq(mod(floor(t/2),4),0),261.63,if(eq(mod(floor(t/2),4),1),220,"
      "if(eq(mod(floor(t/2),4),2),174.61,196)))";
  const std::string third = "if(eq(mod(floor(t/2),4),1),1.19,1.26)";
  const std::string music = "aevalsrc='0.05*((sin(2*PI*" + root + "*t)+0.6*sin(2*PI*" + root + "*" +
                            third + "*t)+0.5*sin(2*PI*" + root +
                            "*1.5*t))/2.1+0.8*sin(2*PI*60*t)*exp(-12*mod(t,0.5)))':s=22050:d=" +
                            std::to_string(sound.duration);
  const std::string path = sound.path.substr(0, sound.path.size() - 4) + "-music.wav";
  run({"ffmpeg", "-v", "error", "-y", "-i", sound.path, "-filter_complex",
       music + "[music];[0][music]amix=inputs=2:normalize=0[a]", "-map", "[a]", path});
  return path;
}

std::string scratch() {
  const std::string dir = tempHome()->path() + "/scratch";
  std::filesystem::create_directories(dir);
  return dir;
}

const SpokenTake& spokenTake() {
  static const SpokenTake take = make("spoken", 0);
  return take;
}

const SpokenTake& noisySpokenTake() {
  static const SpokenTake take = make("noisy", 0, 0.02);
  return take;
}

const SpokenTake& drownedSpokenTake() {
  static const SpokenTake take = make("drowned", 0, 0.25);
  return take;
}

const SpokenTake& quietSpokenTake() {
  static const SpokenTake take = make("quiet", -24);
  return take;
}

std::string silentTake(const std::string& name, double seconds, bool withSound) {
  const std::string path = scratch() + "/" + name + ".mp4";
  const std::string length = std::to_string(seconds);
  std::vector<std::string> argv = {
      "ffmpeg", "-v",    "error", "-y",
      "-f",     "lavfi", "-i",    "color=c=black:s=320x568:r=30:d=" + length};
  if (withSound)
    argv.insert(argv.end(), {"-f", "lavfi", "-i", "anullsrc=r=48000:cl=mono", "-t", length});
  argv.insert(argv.end(), {"-c:v", "libx264", "-preset", "ultrafast", path});
  run(argv);
  return path;
}

int runVorncut(const std::vector<std::string>& arguments, std::string* output) {
  std::vector<std::string> argv = {std::string(VORN_BINARY_DIR) + "/vorncut"};
  argv.insert(argv.end(), arguments.begin(), arguments.end());
  return runCommand(argv, output);
}

}  // namespace vorn::test
