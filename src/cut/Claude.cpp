#include "cut/Claude.h"

#include "cut/Words.h"

#include <QProcess>
#include <QStringList>

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace vorn::cut {
namespace {

constexpr double kDefaultTimeout = 120;

bool isExecutable(const std::string& path) { return ::access(path.c_str(), X_OK) == 0; }

std::string loginName() {
  const passwd* entry = ::getpwuid(::getuid());
  return entry ? entry->pw_name : "";
}

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
  QProcess process;
  process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
  process.start(QString::fromStdString(program),
                {QStringLiteral("-p"), QString::fromStdString(prompt)});
  if (!process.waitForStarted()) throw CutError("claude didn't start.");
  process.closeWriteChannel();
  if (!process.waitForFinished(int(timeout * 1000))) {
    process.kill();
    process.waitForFinished();
    throw CutError("claude gave no answer within " + std::to_string(int(timeout)) + " s.");
  }
  if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
    throw CutError("claude failed with status " + std::to_string(process.exitCode()) + ".");
  return process.readAllStandardOutput().toStdString();
}

}  // namespace vorn::cut
