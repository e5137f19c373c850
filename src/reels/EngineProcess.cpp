// SPDX-License-Identifier: GPL-3.0-or-later
#include "reels/EngineProcess.h"

#include "base/Log.h"

#include <QFile>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// glibc 2.36's header declares these without C linkage.
extern "C" {
#include <sys/pidfd.h>
}

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace vorn {
namespace {

// The reel engine yields the processor to the studio: a background "utility" priority.
constexpr int kEngineNice = 10;
// waitid's pidfd selector; glibc 2.36 does not name it yet.
constexpr idtype_t kWaitPidfd = static_cast<idtype_t>(3);

// Runs in the forked child: only async-signal-safe calls until exec.
[[noreturn]] void execChild(const char* path, char* const* argv, int output, int errorFd,
                            int report, pid_t studio) {
  setpgid(0, 0);
  // A studio that dies takes its engine along; one already gone meanwhile too.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != studio) _exit(127);
  setpriority(PRIO_PROCESS, 0, kEngineNice);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  sigaction(SIGPIPE, &standard, nullptr);
  if (dup2(output, STDOUT_FILENO) >= 0 && dup2(errorFd, STDERR_FILENO) >= 0) {
    // Nothing else of ours leaks into the engine: every other descriptor closes on exec.
    close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    execv(path, argv);
  }
  const int code = errno;
  [[maybe_unused]] const ssize_t written = write(report, &code, sizeof code);
  _exit(127);
}

// The exec error the child reported, or 0 once the report pipe closed on a successful exec.
int readLaunchError(int report) {
  int code = 0;
  ssize_t got;
  do {
    got = read(report, &code, sizeof code);
  } while (got < 0 && errno == EINTR);
  return got == static_cast<ssize_t>(sizeof code) ? code : 0;
}

QString systemError(const char* what, int code) {
  return QStringLiteral("%1: %2").arg(QLatin1String(what), QString::fromLocal8Bit(strerror(code)));
}

}  // namespace

std::unique_ptr<EngineProcess> EngineProcess::launch(const QString& program,
                                                     const QStringList& arguments, int errorFd,
                                                     Events events, QString* error) {
  std::vector<std::string> strings{QFile::encodeName(program).toStdString()};
  for (const QString& argument : arguments) strings.push_back(argument.toStdString());
  std::vector<char*> argv;
  for (std::string& s : strings) argv.push_back(s.data());
  argv.push_back(nullptr);

  int output[2];
  int report[2];
  if (pipe2(output, O_CLOEXEC) != 0) {
    *error = systemError("pipe", errno);
    return nullptr;
  }
  UniqueFd outputRead(output[0]);
  UniqueFd outputWrite(output[1]);
  if (pipe2(report, O_CLOEXEC) != 0) {
    *error = systemError("pipe", errno);
    return nullptr;
  }
  UniqueFd reportRead(report[0]);
  UniqueFd reportWrite(report[1]);

  const pid_t studio = getpid();
  const pid_t pid = fork();
  if (pid < 0) {
    *error = systemError("fork", errno);
    return nullptr;
  }
  if (pid == 0) execChild(argv[0], argv.data(), output[1], errorFd, report[1], studio);

  setpgid(pid, pid);  // also in the child: whichever runs first makes the group
  outputWrite.reset();
  reportWrite.reset();
  if (const int code = readLaunchError(reportRead.get())) {
    waitpid(pid, nullptr, 0);
    *error = systemError("exec", code);
    return nullptr;
  }
  UniqueFd pidfd(pidfd_open(pid, 0));
  if (!pidfd.valid()) {
    const int code = errno;
    ::kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    *error = systemError("pidfd_open", code);
    return nullptr;
  }
  return std::unique_ptr<EngineProcess>(
      new EngineProcess(pid, std::move(pidfd), std::move(outputRead), std::move(events)));
}

EngineProcess::EngineProcess(pid_t pid, UniqueFd pidfd, UniqueFd output, Events events)
    : pid_(pid),
      pidfd_(std::move(pidfd)),
      output_(std::move(output)),
      events_(std::move(events)),
      reader_(events_.message) {
  int wake[2];
  if (pipe2(wake, O_CLOEXEC) == 0) {
    wakeRead_.reset(wake[0]);
    wakeWrite_.reset(wake[1]);
  }
  thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
}

EngineProcess::~EngineProcess() {
  if (!ended_.load()) {
    signal(SIGCONT);
    signal(SIGKILL);
  }
  const char byte = 1;
  [[maybe_unused]] const ssize_t written = write(wakeWrite_.get(), &byte, 1);
  thread_.request_stop();
  if (thread_.joinable()) thread_.join();
}

bool EngineProcess::suspend() { return signal(SIGSTOP); }
bool EngineProcess::proceed() { return signal(SIGCONT); }
bool EngineProcess::terminate() { return signal(SIGTERM); }
bool EngineProcess::kill() { return signal(SIGCONT) && signal(SIGKILL); }

bool EngineProcess::signal(int number) {
  // Under the reap lock: once reaped, the group id may belong to someone else.
  std::lock_guard guard(reapLock_);
  return !reaped_ && ::kill(-pid_, number) == 0;
}

bool EngineProcess::exitStatus(int* status, bool* killed) {
  siginfo_t info{};
  int result;
  do {
    result = waitid(kWaitPidfd, static_cast<id_t>(pidfd_.get()), &info, WEXITED | WNOWAIT);
  } while (result != 0 && errno == EINTR);
  if (result != 0) return false;
  *status = info.si_status;
  *killed = info.si_code == CLD_KILLED || info.si_code == CLD_DUMPED;
  return true;
}

void EngineProcess::reap() {
  siginfo_t info{};
  std::lock_guard guard(reapLock_);
  if (reaped_) return;
  while (waitid(kWaitPidfd, static_cast<id_t>(pidfd_.get()), &info, WEXITED) != 0 && errno == EINTR) {
  }
  reaped_ = true;
}

void EngineProcess::readOutput(bool* closed) {
  char chunk[65536];
  const ssize_t got = read(output_.get(), chunk, sizeof chunk);
  if (got > 0) {
    reader_.feed(chunk, got);
  } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
    *closed = true;
  }
}

void EngineProcess::run(std::stop_token stop) {
  pthread_setname_np(pthread_self(), "vorn.reel");
  bool closed = false;
  bool exited = false;
  int status = 0;
  bool killed = false;
  while (!(closed && exited) && !stop.stop_requested()) {
    pollfd fds[3] = {{closed ? -1 : output_.get(), POLLIN, 0},
                     {exited ? -1 : pidfd_.get(), POLLIN, 0},
                     {wakeRead_.get(), POLLIN, 0}};
    if (poll(fds, 3, -1) < 0) {
      if (errno == EINTR) continue;
      logError(std::string("reel engine output: poll failed: ") + strerror(errno));
      break;
    }
    if (fds[2].revents != 0) break;
    if (fds[0].revents != 0) {
      readOutput(&closed);
      if (closed) {
        reader_.finish();
        ended_.store(exited);
        events_.streamClosed();
      }
    }
    if (fds[1].revents != 0) {
      // A failed wait still counts as the end, so that the run is not left open forever.
      exitStatus(&status, &killed);
      exited = true;
      ended_.store(closed);
      events_.exited(status, killed);
    }
  }
  // Only now: until the output has closed too, the unreaped engine keeps its group's id from
  // being anyone else's, so the group can still be signalled (a child may hold the output).
  reap();
}

}  // namespace vorn
