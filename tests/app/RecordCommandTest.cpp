#include "capture/PulseTestSupport.h"
#include "support/ChildProcess.h"
#include "support/MovieProbe.h"
#include "support/TestServices.h"

#include <QCursor>
#include <QImage>
#include <QTest>
#include <QWidget>
#include <gtest/gtest.h>

#include <thread>

namespace vorn {
namespace {

const std::string kVorn = std::string(VORN_BINARY_DIR) + "/vorn";

std::string home() { return test::tempHome()->path(); }

bool isGreen(QColor c) { return c.green() > 150 && c.red() < 90 && c.blue() < 90; }

TEST(RecordCommand, recordsTheScreenTheCameraAndTheMicrophoneIntoOneTake) {
  // Known pixels on the display: a green window where the take is framed.
  QWidget window;
  window.setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
  window.setStyleSheet("background: #00d000;");
  window.setGeometry(200, 100, 600, 800);
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
  QCursor::setPos(500, 500);  // in the middle of the frame, so cursor follow holds still
  QTest::qWait(300);

  test::PipeMicrophone mic("vmic");
  ASSERT_TRUE(mic.ok());
  ASSERT_EQ(test::pulseServer()->pactl({"set-default-source", "vmic"}), 0);
  // A steady tone for as long as the take runs; once nobody records, the source stops
  // reading and the pieces that do not fit are dropped.
  std::atomic<bool> quiet{false};
  std::thread speaker([&] {
    const int fd = ::open((home() + "/vmic.fifo").c_str(), O_WRONLY | O_NONBLOCK);
    std::vector<float> piece(480);
    auto next = std::chrono::steady_clock::now();
    for (long n = 0; !quiet; n += 480) {
      for (int i = 0; i < 480; ++i) piece[size_t(i)] = float(0.3 * std::sin(2 * M_PI * 440 * (n + i) / 48000.0));
      (void)!::write(fd, piece.data(), piece.size() * sizeof(float));
      next += std::chrono::milliseconds(10);
      std::this_thread::sleep_until(next);
    }
    ::close(fd);
  });

  const std::string take = home() + "/take.mp4";
  std::string output;
  const int code = test::runCommand({kVorn, "record", "--seconds", "3", "--layout", "screen",
                                     "--style", "floating", "--fps", "30", "--area",
                                     "200,100,600,800", "--out", take},
                                    &output);
  quiet = true;
  speaker.join();
  ASSERT_EQ(code, 0) << output;
  EXPECT_NE(output.find("take: " + take), std::string::npos) << output;
  EXPECT_NE(output.find("duration: "), std::string::npos);
  EXPECT_NE(output.find("dropped frames: "), std::string::npos);

  const auto streams = test::probeStreams(QString::fromStdString(take));
  ASSERT_EQ(streams.size(), 2u);
  EXPECT_EQ(streams[0].type, "video");
  EXPECT_EQ(streams[0].width, 1080);
  EXPECT_EQ(streams[0].height, 1920);
  EXPECT_EQ(streams[1].type, "audio");
  EXPECT_EQ(streams[1].channels, 1);

  const double duration = test::probeDuration(QString::fromStdString(take));
  EXPECT_GT(duration, 2.5);
  EXPECT_LT(duration, 4.0);
  const double audioSeconds =
      double(test::decodeAudio(QString::fromStdString(take), 1).size()) / 48000.0;
  EXPECT_NEAR(audioSeconds, duration, 0.4) << "the microphone track spans the take";

  const QImage frame = test::frameAt(QString::fromStdString(take), 1.5);
  ASSERT_EQ(frame.size(), QSize(1080, 1920));
  EXPECT_TRUE(isGreen(frame.pixelColor(540, 700))) << "the card shows the framed screen";
  EXPECT_TRUE(isGreen(frame.pixelColor(900, 1300)));
  const QColor bubble = frame.pixelColor(259, 1382);
  EXPECT_FALSE(isGreen(bubble)) << "the bubble shows the camera";
  EXPECT_FALSE(isGreen(frame.pixelColor(540, 100))) << "above the card: the backdrop";
}

TEST(RecordCommand, badRequestsFailInOneSentenceWithoutATake) {
  std::string output;
  EXPECT_EQ(test::runCommand({kVorn, "record", "--fps", "25"}, &output), 2);
  EXPECT_EQ(test::runCommand({kVorn, "record", "--seconds", "1", "--area", "1900,1000,500,500",
                              "--out", home() + "/outside.mp4"},
                             &output),
            1);
  EXPECT_FALSE(QFile::exists(QString::fromStdString(home() + "/outside.mp4")));
  EXPECT_EQ(test::runCommand({kVorn, "record", "--seconds", "1", "--out",
                              home() + "/missing/folder/take.mp4"},
                             &output),
            1);
  std::string help;
  EXPECT_EQ(test::runCommand({kVorn, "record", "--help"}, &help), 0);
  EXPECT_NE(help.find("Usage: vorn record"), std::string::npos);
}

}  // namespace
}  // namespace vorn
