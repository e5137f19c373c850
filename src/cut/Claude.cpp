// SPDX-License-Identifier: GPL-3.0-or-later
#include "cut/Claude.h"

#include "base/UniqueFd.h"
#include "cut/Words.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// glibc 2.36's header declares these without C linkage.
extern "C" {
#include <sys/pidfd.h>
}

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>

namespace vorn::cut {
namespace {

constexpr double kDefaultTimeout = 120;
// A story's answer is a few kilobytes: far more is a flood, which would fill the memory.
constexpr std::size_t kAnswerLimit = 1 << 20;

bool isExecutable(const std::string& path) { return ::access(path.c_str(), X_OK) == 0; }

std::string loginName() {
  const passwd* entry = ::getpwuid(::getuid());
  return entry ? entry->pw_name : "";
}

// One run of claude in a process group of its own, so that whatever it starts ends with it. The
// prompt goes on standard input: arguments are readable by every local user.
class ClaudeRun {
 public:
  explicit ClaudeRun(const std::string& program) {
    int in[2], out[2];
    if (::pipe2(in, O_CLOEXEC) != 0) throw CutError("claude didn't start.");
    input_.reset(in[1]);
    const UniqueFd childIn(in[0]);
    if (::pipe2(out, O_CLOEXEC) != 0) throw CutError("claude didn't start.");
    output_.reset(out[0]);
    const UniqueFd childOut(out[1]);
    pid_ = spawn(program, childIn.get(), childOut.get());
    if (pid_ < 0) throw CutError("claude didn't start.");
    exited_.reset(::pidfd_open(pid_, 0));
    ::fcntl(input_.get(), F_SETFL, O_NONBLOCK);
  }
  ClaudeRun(const ClaudeRun&) = delete;
  ClaudeRun& operator=(const ClaudeRun&) = delete;
  // The group never outlives the answer; the leader is reaped only after, so its id can't be
  // anyone else's meanwhile.
  ~ClaudeRun() {
    ::killpg(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }

  std::string answer(const std::string& prompt, double timeout) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeout);
    std::string text;
    std::size_t sent = 0;
    if (prompt.empty()) input_.reset();
    bool ended = false;
    while (output_.valid() || !ended) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0)
        throw CutError("claude gave no answer within " + std::to_string(int(timeout)) + " s.");
      pollfd fds[3] = {{input_.get(), POLLOUT, 0},
                       {output_.get(), POLLIN, 0},
                       {ended ? -1 : exited_.get(), POLLIN, 0}};
      if (::poll(fds, 3, int(left.count())) < 0 && errno != EINTR)
        throw CutError("claude couldn't be heard.");
      if (fds[0].revents) send(prompt, sent);
      if (fds[1].revents && !receive(text)) output_.reset();
      if (fds[2].revents) ended = exited();
      if (text.size() > kAnswerLimit) throw CutError("claude's answer ran past 1 MB.");
    }
    if (code_ != 0) throw CutError("claude failed with status " + std::to_string(code_) + ".");
    return text;
  }

 private:
  // Forked by hand: only a child of ours can be told to die with vorncut, so a vorncut killed
  // outright (the studio's watchdog) takes claude along. Only async-signal-safe calls in the
  // child until exec.
  static pid_t spawn(const std::string& program, int in, int out) {
    const char* argv[] = {program.c_str(), "-p", nullptr};
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid != 0) {
      if (pid > 0) ::setpgid(pid, pid);  // also in the child: whichever runs first makes the group
      return pid;
    }
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(127);
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    for (int signal : {SIGPIPE, SIGTERM, SIGINT, SIGHUP}) ::sigaction(signal, &standard, nullptr);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    if (::dup2(in, STDIN_FILENO) >= 0 && ::dup2(out, STDOUT_FILENO) >= 0)
      ::execv(program.c_str(), const_cast<char* const*>(argv));
    ::_exit(127);
  }

  // A claude that stops reading must not take vorncut down with SIGPIPE.
  void send(const std::string& prompt, std::size_t& sent) {
    sigset_t brokenPipe, before;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &brokenPipe, &before);
    const ssize_t n = ::write(input_.get(), prompt.data() + sent, prompt.size() - sent);
    if (n < 0 && errno == EPIPE) {
      const timespec now{};
      ::sigtimedwait(&brokenPipe, nullptr, &now);
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (n > 0) sent += std::size_t(n);
    if ((n < 0 && errno != EAGAIN && errno != EINTR) || sent == prompt.size()) input_.reset();
  }

  // False at the end of the output.
  bool receive(std::string& text) {
    char chunk[65536];
    const ssize_t n = ::read(output_.get(), chunk, sizeof chunk);
    if (n > 0) text.append(chunk, std::size_t(n));
    return n > 0 || (n < 0 && errno == EINTR);
  }

  // Whether claude has ended (left unreaped: see the destructor).
  bool exited() {
    siginfo_t info{};
    if (::waitid(P_PID, id_t(pid_), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == 0)
      return false;
    code_ = info.si_code == CLD_EXITED ? info.si_status : -1;
    return true;
  }

  pid_t pid_ = -1;
  UniqueFd input_;
  UniqueFd output_;
  UniqueFd exited_;  // readable once claude has ended
  int code_ = 0;  // once exited: its exit code, -1 when a signal ended it
};

}  // namespace

std::optional<std::string> findClaude() {
  if (const char* override = std::getenv("VORN_CLAUDE_PATH"))
    return isExecutable(override) ? std::optional<std::string>(override) : std::nullopt;
  for (const std::string& place :
       {"/home/" + loginName() + "/.local/bin/claude",
        std::string("/home/linuxbrew/.linuxbrew/bin/claude"), std::string("/usr/local/bin/claude")})
    if (isExecutable(place)) return place;
  return std::nullopt;
}

double claudeTimeout() {
  const char* text = std::getenv("VORN_CLAUDE_TIMEOUT");
  const double seconds = text ? std::atof(text) : 0;
  return seconds > 0 ? seconds : kDefaultTimeout;
}

std::string askClaude(const std::string& program, const std::string& prompt, double timeout) {
  ClaudeRun run(program);
  return run.answer(prompt, timeout);
}

}  // namespace vorn::cut
