// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/ChildProcess.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace vorn::test {
namespace {

std::vector<char*> cArgs(const std::vector<std::string>& argv) {
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  return args;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, bool quiet) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (quiet) {
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  }
  std::vector<char*> args = cArgs(argv);
  const int error = posix_spawnp(&pid_, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " + argv[0]);
}

ChildProcess::~ChildProcess() { stop(); }

bool ChildProcess::running() {
  if (pid_ <= 0) return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) == pid_) {
    pid_ = -1;
    return false;
  }
  return true;
}

void ChildProcess::stop() {
  if (!running()) return;
  kill(pid_, SIGTERM);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (running() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  if (running()) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
}

int runCommand(const std::vector<std::string>& argv, std::string* output) {
  // Close-on-exec: a command spawned meanwhile from another thread would otherwise hold this
  // pipe open, and the read below would wait for that command to end too.
  int pipeFds[2];
  if (pipe2(pipeFds, O_CLOEXEC) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
  std::vector<char*> args = cArgs(argv);
  pid_t pid = -1;
  const int error = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeFds[1]);
  std::string text;
  char chunk[4096];
  ssize_t n;
  while (error == 0 && (n = read(pipeFds[0], chunk, sizeof chunk)) > 0) text.append(chunk, size_t(n));
  close(pipeFds[0]);
  if (error != 0) return -1;
  int status = 0;
  waitpid(pid, &status, 0);
  if (output) *output = text;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace vorn::test
