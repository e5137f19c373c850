// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/PipeMicrophone.h"
#include "support/ChildProcess.h"
#include "support/DecodeStream.h"
#include "support/Eventually.h"
#include "support/MovieProbe.h"
#include "support/TestServices.h"

#include <QCursor>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QStandardPaths>
#include <QTest>
#include <QWidget>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <csignal>
#include <memory>
#include <pty.h>
#include <sys/wait.h>
#include <sys/stat.h>
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

// When the framed screen turns bright (the luma at the card's centre), in seconds of the take.
std::vector<double> flashes(const std::string& take) {
  av::Input input = av::openInput(take);
  const AVStream* stream = input->streams[0];
  std::vector<double> found;
  bool bright = true;  // an edge counts only after a dark frame
  test::decodeStream(input.get(), 0, [&](const AVFrame& frame) {
    const bool now = frame.data[0][700 * frame.linesize[0] + 540] > 128;
    if (now && !bright) found.push_back(double(frame.pts) * av_q2d(stream->time_base));
    bright = now;
  });
  return found;
}

// When the microphone turns loud (5 ms windows), in seconds of the take.
std::vector<double> clicks(const std::vector<float>& samples) {
  std::vector<double> times;
  bool loud = true;
  for (size_t at = 0; at + 240 <= samples.size(); at += 240) {
    double power = 0;
    for (size_t i = at; i < at + 240; ++i) power += double(samples[i]) * samples[i];
    const bool now = std::sqrt(power / 240) > 0.25;
    if (now && !loud) times.push_back(double(at) / 48000);
    loud = now;
  }
  return times;
}

// The framed screen flashes while the microphone clicks louder, again and again, during a take;
// the microphone sounds from its first sample to its last.
TEST(RecordCommand, soundAndPictureStartAndEndTogetherAndStayInStep) {
  QWidget window;
  window.setWindowFlags(Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
  window.setStyleSheet("background: black;");
  window.setGeometry(200, 100, 600, 800);
  window.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
  QCursor::setPos(500, 500);

  test::PipeMicrophone mic("vflash");
  ASSERT_TRUE(mic.ok());
  ASSERT_EQ(test::pulseServer()->pactl({"set-default-source", "vflash"}), 0);
  std::atomic<bool> bright{false}, quiet{false};
  std::thread speaker([&] {
    const int fd = ::open((home() + "/vflash.fifo").c_str(), O_WRONLY | O_NONBLOCK);
    // Pieces of 2 ms: a piece stands for the sound of the 2 ms before it is written, so the
    // click starts at most 2 ms before the flash.
    std::vector<float> piece(96);
    auto next = std::chrono::steady_clock::now();
    for (long n = 0; !quiet; n += 96) {
      const double level = bright ? 0.6 : 0.1;
      for (int i = 0; i < 96; ++i) piece[size_t(i)] = float(level * std::sin(2 * M_PI * 440 * (n + i) / 48000.0));
      (void)!::write(fd, piece.data(), piece.size() * sizeof(float));
      next += std::chrono::milliseconds(2);
      std::this_thread::sleep_until(next);
    }
    ::close(fd);
  });

  const std::string take = home() + "/flash.mp4";
  QFile::remove(QString::fromStdString(take));  // repeated by bench/av_sync.sh
  std::string output;
  std::atomic<int> code{-1};
  std::atomic<bool> done{false};
  std::thread record([&] {
    code = test::runCommand({kVorn, "record", "--seconds", "4", "--layout", "screen", "--style",
                             "floating", "--fps", "30", "--area", "200,100,600,800",
                             "--no-camera", "--out", take},
                            &output);
    done = true;
  });
  for (bool white = true; !done; white = !white) {
    window.setStyleSheet(white ? "background: white;" : "background: black;");
    window.repaint();
    QGuiApplication::sync();  // the X server has the new pixels
    bright = white;
    QTest::qWait(white ? 263 : 411);  // off the 60 Hz grid: each flash meets it elsewhere
  }
  record.join();
  quiet = true;
  speaker.join();
  ASSERT_EQ(code, 0) << output;

  const auto samples = test::decodeAudio(QString::fromStdString(take), 1);
  const test::Quiet silence = test::quietRuns(samples);
  EXPECT_LT(silence.leading, 1.0 / 30) << "sound and picture start within a frame";
  EXPECT_LT(silence.trailing, 0.05) << "the last words are kept";
  EXPECT_LT(silence.longestInside, 0.05);
  const double lastFrame = test::readPackets(QString::fromStdString(take), 0).back().seconds;
  EXPECT_NEAR(double(samples.size()) / 48000, lastFrame, 0.03) << "the sound reaches the last frame";

  // Each flash against the click nearest to it: the picture shows a change in the first frame
  // grabbed after it, up to a frame later. A busy machine delays grabs, only ever later: the
  // quickest quarter of the flashes shows what the take does when it is not held up.
  const std::vector<double> flashed = flashes(take);
  const std::vector<double> clicked = clicks(samples);
  std::vector<double> trails;
  for (double flash : flashed) {
    const auto nearest = std::min_element(clicked.begin(), clicked.end(), [&](double a, double b) {
      return std::abs(a - flash) < std::abs(b - flash);
    });
    if (nearest != clicked.end() && std::abs(*nearest - flash) < 0.4) trails.push_back(flash - *nearest);
  }
  ASSERT_GE(trails.size(), 3u) << flashed.size() << " flashes, " << clicked.size() << " clicks";
  std::sort(trails.begin(), trails.end());
  const double median = trails[trails.size() / 2];
  // For bench/av_sync.sh, which repeats this take and sums the figures up.
  QStringList milliseconds;
  for (double trail : trails) milliseconds << QString::number(trail * 1000, 'f', 1);
  RecordProperty("trails_ms", milliseconds.join(',').toStdString());
  RecordProperty("leading_silence_ms", QString::number(silence.leading * 1000, 'f', 1).toStdString());
  EXPECT_GT(median, -0.015) << "the picture never runs ahead of the sound";
  EXPECT_LT(trails[trails.size() / 4], 1.0 / 30) << "the picture trails the sound by less than a frame";
}

// A microphone whose stream takes a second to send its first sound (a monitor or a Bluetooth
// headset may): the take waits for it rather than opening on a second of silence.
TEST(RecordCommand, aTakeOpensOnTheMicrophonesFirstSound) {
  test::PipeMicrophone mic("vlate");
  ASSERT_TRUE(mic.ok());
  ASSERT_EQ(test::pulseServer()->pactl({"set-default-source", "vlate"}), 0);
  std::atomic<bool> quiet{false};
  std::thread speaker([&] {
    // Silent until Vorn's stream is connected and a second has gone by.
    test::eventually([&] {
      std::string streams;
      test::pulseServer()->pactl({"list", "short", "source-outputs"}, &streams);
      return streams.find_first_not_of(" \r\n") != std::string::npos;
    });
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const int fd = ::open((home() + "/vlate.fifo").c_str(), O_WRONLY | O_NONBLOCK);
    std::vector<float> piece(480, 0.3f);
    auto next = std::chrono::steady_clock::now();
    while (!quiet) {
      for (size_t i = 0; i < piece.size(); i += 2) piece[i] = -piece[i];
      (void)!::write(fd, piece.data(), piece.size() * sizeof(float));
      next += std::chrono::milliseconds(10);
      std::this_thread::sleep_until(next);
    }
    ::close(fd);
  });
  const std::string take = home() + "/late.mp4";
  std::string output;
  const int code = test::runCommand({kVorn, "record", "--seconds", "1", "--no-camera", "--fps",
                                     "30", "--out", take},
                                    &output);
  quiet = true;
  speaker.join();
  ASSERT_EQ(code, 0) << output;
  const test::Quiet silence = test::quietRuns(test::decodeAudio(QString::fromStdString(take), 1));
  EXPECT_LT(silence.leading, 1.0 / 30) << output;
}

// Another file takes the take's name while it records: both are kept, and the take is named.
TEST(RecordCommand, aNameTakenDuringTheTakeKeepsBothFilesAndSaysWhereTheTakeWent) {
  const QString take = QString::fromStdString(home() + "/taken.mp4");
  std::thread intruder([&] {
    test::eventually([&] { return QFile::exists(QString::fromStdString(home() + "/.recording-taken.mp4")); });
    QFile other(take);
    if (other.open(QIODevice::WriteOnly)) other.write("someone else's");
  });
  std::string output;
  // Two seconds: a take under 0.7 s goes to the trash, and a busy machine may start late.
  const int code = test::runCommand({kVorn, "record", "--seconds", "2", "--no-camera", "--no-mic",
                                     "--fps", "30", "--out", take.toStdString()},
                                    &output);
  intruder.join();
  EXPECT_EQ(code, 0) << output;
  const QString saved = QString::fromStdString(home() + "/taken (2).mp4");
  EXPECT_NE(output.find("take: " + saved.toStdString()), std::string::npos) << output;
  EXPECT_EQ(test::probeStreams(saved).size(), 1u);
  QFile other(take);
  ASSERT_TRUE(other.open(QIODevice::ReadOnly));
  EXPECT_EQ(other.readAll(), "someone else's");
}

// Closing the terminal: a hang-up stops the take like Ctrl+C, and output that nobody reads
// any more does not stop it at all.
TEST(RecordCommand, aTakeOutlivesItsTerminal) {
  const QString hungUp = QString::fromStdString(home() + "/hung-up.mp4");
  {
    test::ChildProcess vorn({kVorn, "record", "--seconds", "60", "--no-camera", "--no-mic",
                             "--fps", "30", "--out", hungUp.toStdString()});
    const QString fragment = QString::fromStdString(home() + "/.recording-hung-up.mp4");
    ASSERT_TRUE(test::eventually([&] { return QFileInfo(fragment).size() > 20'000; }, 60));
    ::kill(vorn.pid(), SIGHUP);
    ASSERT_TRUE(test::eventually([&] { return !vorn.running(); }, 60));
  }
  EXPECT_GT(test::probeDuration(hungUp), 0.5);

  const QString unread = QString::fromStdString(home() + "/unread.mp4");
  const int code = test::runCommand({"sh", "-c", kVorn + " record --seconds 2 --no-camera --no-mic --fps 30 --out '" +
                                                     unread.toStdString() + "' | true"});
  EXPECT_EQ(code, 0);
  EXPECT_GT(test::probeDuration(unread), 1.5);
  EXPECT_FALSE(QFile::exists(QString::fromStdString(home() + "/.recording-unread.mp4")));
}

// On a terminal the take's time and the microphone's level are redrawn on one line; into a
// pipe they are plain lines.
TEST(RecordCommand, theTakeShowsItsTimeAndTheMicrophonesLevelAsItGoes) {
  std::string defaultSource;
  test::pulseServer()->pactl({"get-default-source"}, &defaultSource);
  test::pulseServer()->pactl({"load-module", "module-sine-source", "source_name=vmeter"});
  ASSERT_EQ(test::pulseServer()->pactl({"set-default-source", "vmeter"}), 0);
  const std::vector<std::string> record{kVorn, "record", "--seconds", "2.5", "--no-camera", "--fps", "30"};

  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(child, 0);
  if (child == 0) {
    const std::string out = "--out=" + home() + "/metered.mp4";
    ::execl(kVorn.c_str(), kVorn.c_str(), "record", "--seconds", "2.5", "--no-camera", "--fps", "30", out.c_str(),
            static_cast<char*>(nullptr));
    ::_exit(127);
  }
  std::string screen;
  char buffer[4096];
  for (ssize_t n; (n = ::read(terminal, buffer, sizeof buffer)) > 0;) screen.append(buffer, size_t(n));
  ::close(terminal);
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << screen;
  EXPECT_NE(screen.find("\rrecording 0:0"), std::string::npos) << screen;
  EXPECT_NE(screen.find("  mic [#"), std::string::npos) << "the tone lights the meter: " << screen;
  EXPECT_NE(screen.find(" dB\x1b[K"), std::string::npos) << screen;
  EXPECT_NE(screen.find("\ntake: "), std::string::npos) << "the take's path starts a line of its own: " << screen;

  std::string piped;
  std::vector<std::string> toPipe = record;
  toPipe.push_back("--out=" + home() + "/piped.mp4");
  ASSERT_EQ(test::runCommand(toPipe, &piped), 0);
  EXPECT_NE(piped.find("\nrecording 0:0"), std::string::npos) << piped;
  EXPECT_EQ(piped.find('\r'), std::string::npos) << piped;
  test::pulseServer()->pactl({"set-default-source", QString::fromStdString(defaultSource).trimmed().toStdString()});
}

// A take killed outright, written outside the takes folder, is recovered beside it at the next
// run with the same --out; the new take gets the name.
TEST(RecordCommand, aKilledTakeIsRecoveredBesideItsOutAtTheNextRun) {
  const QString folder = QString::fromStdString(home() + "/elsewhere");
  ASSERT_TRUE(QDir().mkpath(folder));
  const QString out = folder + "/killed.mp4";
  const QString fragment = folder + "/.recording-killed.mp4";
  {
    test::ChildProcess vorn({kVorn, "record", "--seconds", "60", "--no-camera", "--no-mic",
                             "--fps", "30", "--out", out.toStdString()});
    const auto fragments = [&] {
      QFile file(fragment);
      return file.open(QIODevice::ReadOnly) ? file.readAll().count("moof") : 0;
    };
    ASSERT_TRUE(test::eventually([&] { return fragments() >= 3; }, 60)) << "a second of it is written";
    ::kill(vorn.pid(), SIGKILL);
    ASSERT_TRUE(test::eventually([&] { return !vorn.running(); }));
  }
  std::string output;
  EXPECT_EQ(test::runCommand({kVorn, "record", "--seconds", "1", "--no-camera", "--no-mic", "--fps",
                              "30", "--out", out.toStdString()},
                             &output),
            0)
      << output;
  EXPECT_GT(test::probeDuration(out), 0.5);
  EXPECT_GT(test::probeDuration(folder + "/killed (recovered).mp4"), 0.9);
  EXPECT_FALSE(QFile::exists(fragment));
}

// The X server goes away mid-take: the take stops there and is kept, one sentence says why,
// and the duration printed is the file's.
TEST(RecordCommand, anXServerThatDiesMidTakeStopsItThere) {
  const std::string ownDisplay = std::getenv("DISPLAY");
  auto dying = std::make_unique<test::XServer>();
  ::setenv("DISPLAY", ownDisplay.c_str(), 1);  // only the take records the dying one
  const QString take = QString::fromStdString(home() + "/orphan.mp4");
  std::string output;
  std::atomic<int> code{-1};
  std::thread record([&] {
    code = test::runCommand({"sh", "-c", "DISPLAY=" + dying->display() + " exec " + kVorn +
                                             " record --seconds 60 --no-camera --no-mic --fps 30 --out '" +
                                             take.toStdString() + "' 2>&1"},
                            &output);
  });
  const QString fragment = QString::fromStdString(home() + "/.recording-orphan.mp4");
  EXPECT_TRUE(test::eventually([&] { return QFileInfo(fragment).size() > 20'000; }, 60));
  dying.reset();
  record.join();

  EXPECT_EQ(code, 1) << output;
  const std::string sentence = "so the take was stopped there";
  EXPECT_NE(output.find(sentence), std::string::npos) << output;
  EXPECT_EQ(output.find(sentence), output.rfind(sentence)) << "said once: " << output;
  const std::size_t at = output.find("duration: ");
  ASSERT_NE(at, std::string::npos) << output;
  const double printed = std::stod(output.substr(at + 10));
  const auto packets = test::readPackets(take, 0);
  ASSERT_FALSE(packets.empty());
  EXPECT_NEAR(printed, packets.back().seconds - packets.front().seconds, 0.01);
  EXPECT_LT(printed, 30);
}

TEST(RecordCommand, badRequestsFailInOneSentenceWithoutATake) {
  std::string output;
  EXPECT_EQ(test::runCommand({kVorn, "record", "--fps", "25"}, &output), 2);
  EXPECT_EQ(test::runCommand({kVorn, "record", "--out", ""}, &output), 2);
  // Preferences that are a FIFO would hold the first read forever.
  const QString config = QString::fromStdString(home() + "/fifo-config");
  ASSERT_TRUE(QDir().mkpath(config + "/Vorn"));
  ASSERT_EQ(::mkfifo(QFile::encodeName(config + "/Vorn/Vorn.conf").constData(), 0600), 0);
  EXPECT_EQ(test::runCommand({"sh", "-c", "XDG_CONFIG_HOME='" + config.toStdString() + "' exec " + kVorn +
                                              " record --seconds 1 2>&1"},
                             &output),
            1);
  EXPECT_NE(output.find("isn't a regular file"), std::string::npos) << output;
  EXPECT_EQ(test::runCommand({kVorn, "record", "--seconds", "1", "--area", "1900,1000,500,500",
                              "--out", home() + "/outside.mp4"},
                             &output),
            1);
  EXPECT_FALSE(QFile::exists(QString::fromStdString(home() + "/outside.mp4")));
  // At 200 % the display spans half as many points as pixels, as in the studio.
  EXPECT_EQ(test::runCommand({"sh", "-c", "QT_SCALE_FACTOR=2 exec " + kVorn +
                                              " record --seconds 1 --area 0,0,1920,1080 2>&1"},
                             &output),
            1);
  EXPECT_NE(output.find("outside the 960 × 540 display"), std::string::npos) << output;
  EXPECT_EQ(test::runCommand({kVorn, "record", "--seconds", "1", "--out",
                              home() + "/missing/folder/take.mp4"},
                             &output),
            1);
  EXPECT_EQ(test::runCommand({"sh", "-c", "DISPLAY=:987 exec " + kVorn + " record --seconds 1 2>&1"}, &output), 1);
  EXPECT_NE(output.find("No display to capture at DISPLAY=:987."), std::string::npos) << output;
  std::string help;
  EXPECT_EQ(test::runCommand({kVorn, "record", "--help"}, &help), 0);
  EXPECT_NE(help.find("Usage: vorn record"), std::string::npos);
  EXPECT_FALSE(QFileInfo::exists(QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) + "/Vorn"))
      << "failed runs create no takes folder";
}

// Takes started at once land in the same second: each gets a name of its own and none is lost
// (every run also recovers the takes folder as it starts). After the test that wants no takes
// folder.
TEST(RecordCommand, takesStartedAtOnceAreAllKept) {
  const QDir takes(QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) + "/Vorn");
  const QStringList before = takes.entryList(QDir::Files | QDir::Hidden);
  constexpr int runs = 4;
  std::vector<int> codes(runs, -1);
  std::vector<std::string> outputs(runs);
  std::vector<std::thread> threads;
  for (int i = 0; i < runs; ++i)
    threads.emplace_back([&, i] {
      codes[size_t(i)] = test::runCommand({kVorn, "record", "--seconds", "3", "--no-camera", "--no-mic",
                                           "--fps", "30"},
                                          &outputs[size_t(i)]);
    });
  for (std::thread& thread : threads) thread.join();
  QStringList made;
  for (const QString& name : takes.entryList(QDir::Files | QDir::Hidden))
    if (!before.contains(name)) made << name;
  for (int i = 0; i < runs; ++i) EXPECT_EQ(codes[size_t(i)], 0) << outputs[size_t(i)];
  ASSERT_EQ(made.size(), runs) << made.join(", ").toStdString();
  // How much of each take a busy machine lets through varies; that each is whole does not.
  for (const QString& name : made) {
    EXPECT_FALSE(name.startsWith('.')) << name.toStdString();
    EXPECT_EQ(test::probeStreams(takes.filePath(name)).size(), 1u) << name.toStdString();
    EXPECT_FALSE(test::readPackets(takes.filePath(name), 0).empty()) << name.toStdString();
  }
}

}  // namespace
}  // namespace vorn
