// SPDX-License-Identifier: GPL-3.0-or-later
// The reel rendered from a take whose every picture carries its own number: the reel's
// pictures run one after the other within a segment, never repeat, and keep time with the
// sound across every cut.
#include "SpokenTake.h"

#include "cut/Captions.h"
#include "cut/Render.h"
#include "support/ChildProcess.h"
#include "support/MovieProbe.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>

namespace vorn::cut {
namespace {

constexpr int kDigit = 50;
constexpr int kStep = 4;

// 20 s at 30 fps; the left half's grey is the picture's number modulo 50, the right half's
// the number divided by 50, so every picture of the take can be told apart.
std::string numberedTake() {
  const std::string path = test::scratch() + "/numbered.mp4";
  const std::string grey = "lum='if(lt(X,W/2)," + std::to_string(20) + "+" +
                           std::to_string(kStep) + "*mod(N," + std::to_string(kDigit) + ")," +
                           std::to_string(20) + "+" + std::to_string(kStep) + "*floor(N/" +
                           std::to_string(kDigit) + "))':cb=128:cr=128";
  test::runCommand({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                    "color=c=black:s=320x568:r=30:d=20,format=yuv420p,geq=" + grey, "-f", "lavfi",
                    "-i", "sine=f=440:r=48000:d=20", "-c:v", "libx264", "-preset", "ultrafast",
                    "-qp", "0", "-c:a", "aac", "-shortest", path});
  return path;
}

// The number of each of the reel's pictures, read from its grey levels.
std::vector<int> pictureNumbers(const std::string& reel) {
  std::string pixels;
  // The luma plane as it is stored, so no range conversion blurs the levels.
  test::runCommand({"ffmpeg", "-v", "error", "-i", reel, "-vf", "scale=54:96:flags=area", "-f",
                    "rawvideo", "-pix_fmt", "yuv420p", "-"},
                   &pixels);
  std::vector<int> numbers;
  const auto digit = [](unsigned char grey) { return int(std::lround((grey - 20.0) / kStep)); };
  constexpr std::size_t kPicture = 54 * 96 * 3 / 2;
  for (std::size_t at = 0; at + kPicture <= pixels.size(); at += kPicture) {
    const auto low = static_cast<unsigned char>(pixels[at + 48 * 54 + 13]);
    const auto high = static_cast<unsigned char>(pixels[at + 48 * 54 + 40]);
    numbers.push_back(digit(high) * kDigit + digit(low));
  }
  return numbers;
}

TEST(RenderTest, picturesRunWithoutRepeatsOrSkipsAcrossCutsAndKeepTimeWithTheSound) {
  const std::string take = numberedTake();
  const std::string captions = test::scratch() + "/nocaptions.ass";
  std::ofstream(captions) << captionScript(Story{});
  // Cuts anywhere between pictures, as word gaps fall.
  const std::vector<Span> segments = {
      {0.517, 2.271}, {3.106, 4.988}, {6.2049, 8.333}, {9.01, 11.777}, {12.5, 15.0041}};
  RenderJob job{take,
                segments,
                FaceFinish{},
                captions,
                test::scratch() + "/numbered-reel.mp4",
                test::scratch() + "/numbered-cover.jpg",
                1.0,
                {}};
  const double length = renderReel(job);

  const std::vector<int> numbers = pictureNumbers(job.reel);
  ASSERT_FALSE(numbers.empty());
  int repeats = 0, jumps = 0;
  for (std::size_t i = 1; i < numbers.size(); ++i) {
    if (numbers[i] == numbers[i - 1]) ++repeats;
    if (numbers[i] != numbers[i - 1] + 1) ++jumps;
  }
  EXPECT_EQ(repeats, 0);
  EXPECT_EQ(jumps, int(segments.size()) - 1) << "one jump at each cut, none elsewhere";
  const std::vector<float> sound = test::decodeAudio(QString::fromStdString(job.reel), 1);
  const double soundSeconds = sound.size() / 2.0 / 48000;
  EXPECT_NEAR(numbers.size() / 30.0, soundSeconds, 0.05) << "picture and sound end together";
  EXPECT_NEAR(length, soundSeconds, 0.05);
}

}  // namespace
}  // namespace vorn::cut
