// SPDX-License-Identifier: GPL-3.0-or-later
// Runs a command and prints the CPU time it and its children spent, and the wall time:
//   cpu_user <s> cpu_system <s> wall <s>   (on standard error, after the command's own output)
// Exits with the command's status.
//
// usage: child_cpu COMMAND [ARGS...]

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: child_cpu COMMAND [ARGS...]\n");
    return 2;
  }
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child < 0) return 127;
  if (child == 0) {
    execvp(argv[1], argv + 1);
    std::perror("child_cpu");
    _exit(127);
  }
  int status = 0;
  while (waitpid(child, &status, 0) < 0)
    if (errno != EINTR) return 127;
  const double wall =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  auto seconds = [](const timeval& t) { return double(t.tv_sec) + t.tv_usec / 1e6; };
  std::fprintf(stderr, "cpu_user %.3f cpu_system %.3f wall %.3f\n", seconds(usage.ru_utime),
               seconds(usage.ru_stime), wall);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
