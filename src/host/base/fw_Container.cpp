// What the host process offers to its services as a whole: shell commands, delays, the console.
#include "host/base/fw_Container.h"

#include <algorithm>
#include <atomic>
#include <string>
#include <string_view>
#include <utility>

#include "host/log/fw_Logger.h"
#include "host/machine/ErrorFile.h"
#include "host/machine/Platform.h"

namespace framework {

namespace {

std::atomic<std::int64_t> limitOfCommands = 60 * 1000000LL;
std::atomic<Console*> theConsole = nullptr;

// A command whose thread has used its budget up still gets this long, so that a short one behind
// one that hung, a kill above all, does its work.
constexpr std::int64_t leastLimit = 500000;

// A background command keeps the next one of its script waiting for this long.
constexpr std::int64_t turnLimit = 30000000;

constexpr std::int64_t noBudget = -1;
thread_local std::int64_t budgetEnd = noBudget;  // when the thread's shared limit runs out

std::int64_t remainingLimit() {
  if (budgetEnd == noBudget) return limitOfCommands;
  return std::max(leastLimit, budgetEnd - platform::Platform::current().now());
}

const char* reason(platform::Outcome outcome) {
  switch (outcome) {
    case platform::Outcome::NotStarted:
      return "could not be started";
    case platform::Outcome::TimedOut:
      return "passed its time limit and was killed";
    case platform::Outcome::Aborted:
      return "was killed, the host is stopping";
    case platform::Outcome::Exited:
      break;
  }
  return "ended";
}

// The path of the init script that a line runs; empty for any other line.
std::string initScriptOf(const std::string& line) {
  return line.starts_with("/app/etc/init.d/") ? line.substr(0, line.find(' ')) : "";
}

void logStartFailure(const std::string& line) {
  Logger::StaticLog(LogType::Error, "command %s: %s", reason(platform::Outcome::NotStarted),
                    line.c_str());
}

// What is worth a warning of a command that ran for a daemon. One that could not be started or was
// killed is an error line where that happened.
void warn(const std::string& line, const utility::CommandOutcome& outcome, Container::Fault fault) {
  using Stage = utility::CommandOutcome::Stage;
  if (fault == Container::Fault::CallersAffair) return;
  const bool ended = outcome.stage == Stage::Exited || outcome.stage == Stage::Signalled;
  const bool complained = fault == Container::Fault::StandardError && !outcome.error.empty();
  if (ended && !outcome.isFailed() && !complained) return;
  if (outcome.isEnded() && !ended) return;
  Logger::StaticLog(LogType::Warning, "command %s: %s", outcome.text().c_str(), line.c_str());
}

int run(const char* commandLine, platform::Command command) {
  constexpr std::string_view background = " &";
  std::string line = commandLine;
  if (line.ends_with(background)) {
    line.resize(line.size() - background.size());
    command.detached = true;
    command.limit = turnLimit;
    command.told = [line, told = std::move(command.told)](const utility::CommandOutcome& outcome) {
      if (outcome.stage == utility::CommandOutcome::Stage::NotStarted) logStartFailure(line);
      if (told) told(outcome);
    };
  }
  const std::string script = initScriptOf(line);
  if (command.detached && !script.empty()) command.queue = script.c_str();
  command.line = line.c_str();
  const platform::Result result = platform::Platform::current().run(command);
  if (result.outcome == platform::Outcome::Exited) return result.status;
  Logger::StaticLog(LogType::Error, "command %s: %s", reason(result.outcome), command.line);
  return -1;
}

}  // namespace

int Container::spawn(const char* commandLine, InputStream* input, OutputStream* output) {
  return run(commandLine, {.input = input, .output = output, .limit = remainingLimit()});
}

int Container::spawnFor(const char* commandLine, Fault fault, Told told) {
  const auto tell = [line = std::string(commandLine), fault,
                     told = std::move(told)](const utility::CommandOutcome& outcome) {
    warn(line, outcome, fault);
    if (told) told(outcome);
  };
  return run(commandLine, {.limit = remainingLimit(), .keepsError = true, .told = tell});
}

void Container::boundErrorOutput(int pid) { platform::ErrorFile::bound(pid); }

std::shared_ptr<utility::ExitWatch> Container::watchExits(std::function<void()> woken) {
  return platform::Platform::current().watchExits(std::move(woken));
}

int Container::queueSignal(int pid, int signal, int value) {
  return platform::Platform::current().queueSignal(pid, signal, value);
}

void Container::setCommandLimit(int seconds) { limitOfCommands = seconds * 1000000LL; }

int Container::commandLimit() { return static_cast<int>(limitOfCommands / 1000000); }

Console* Container::getConsole() { return theConsole; }
void Container::setConsole(Console* console) { theConsole = console; }

CommandBudget::CommandBudget(int seconds) {
  budgetEnd = platform::Platform::current().now() + seconds * 1000000LL;
}

CommandBudget::~CommandBudget() { budgetEnd = noBudget; }

}  // namespace framework

void taskDelay(int ticks) { platform::Platform::current().delay(ticks * 10000LL); }
