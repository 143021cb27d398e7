// One shell command: starting it, reading what it prints, waiting for its end.
#include "host/machine/ShellCommand.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string>
#include <utility>

#include "host/machine/DescriptorLimit.h"
#include "util/fw_Exception.h"
#include "util/fw_InputStream.h"
#include "util/fw_OutputStream.h"

namespace platform {

namespace {

constexpr std::size_t pipeSize = 65536;  // what a pipe holds, pipe(7)

// What posix_spawn(3) cannot set: the umask, and that the kernel, which may spare the host when it
// ends processes for memory, does not spare the daemons.
constexpr const char* environmentLines = "umask 022\necho 0 >/proc/self/oom_score_adj\n";

// The attributes and file actions of posix_spawn(3), released with the object.
struct SpawnSettings {
  SpawnSettings() {
    posix_spawnattr_init(&attributes);
    posix_spawn_file_actions_init(&actions);
  }
  ~SpawnSettings() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  posix_spawnattr_t attributes{};
  posix_spawn_file_actions_t actions{};
};

void setSignals(posix_spawnattr_t& attributes) {
  sigset_t all;
  sigset_t none;
  sigfillset(&all);
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&attributes, &all);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

void setDescriptor(posix_spawn_file_actions_t& actions, int from, int to, int flags) {
  if (from >= 0) {
    posix_spawn_file_actions_adddup2(&actions, from, to);
  } else {
    posix_spawn_file_actions_addopen(&actions, to, "/dev/null", flags, 0);
  }
}

// A file in memory with the stream's content, for the command to read.
Descriptor contentOf(framework::InputStream& stream) {
  Descriptor file(memfd_create("input", MFD_CLOEXEC));
  std::array<char, 4096> chunk;
  stream.StartInputStream();
  for (;;) {
    const int size = stream.ReceiveInputStream(chunk.data(), chunk.size());
    if (size <= 0 || ::write(file.get(), chunk.data(), static_cast<std::size_t>(size)) != size) {
      break;
    }
  }
  stream.EndInputStream();
  ::lseek(file.get(), 0, SEEK_SET);
  return file;
}

Descriptor openPidDescriptor(pid_t pid) {
  return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
}

int milliseconds(std::int64_t microseconds) {
  return static_cast<int>(std::clamp<std::int64_t>((microseconds + 999) / 1000, 0, 3600000LL));
}

}  // namespace

ShellCommand::ShellCommand(const Command& command)
    : m_output(command.detached ? nullptr : command.output) {
  Descriptor input;
  Descriptor output;
  if (command.input != nullptr) input = contentOf(*command.input);
  if (command.keepsError) m_error = ErrorFile::create();
  if (m_output != nullptr) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) return;
    m_read.reset(ends[0]);
    output.reset(ends[1]);
    ::fcntl(m_read.get(), F_SETFL, O_NONBLOCK);
  }
  start(command, input.get(), output.get());
}

void ShellCommand::start(const Command& command, int input, int output) {
  SpawnSettings settings;
  setSignals(settings.attributes);
  setDescriptor(settings.actions, input, STDIN_FILENO, O_RDONLY);
  setDescriptor(settings.actions, output, STDOUT_FILENO, O_WRONLY);
  setDescriptor(settings.actions, m_error.get(), STDERR_FILENO, O_WRONLY);
  posix_spawn_file_actions_addclosefrom_np(&settings.actions, STDERR_FILENO + 1);
  std::string line = environmentLines + descriptorLimitLine() + command.line;
  std::string shell = "sh";
  std::string option = "-c";
  std::array<char*, 4> arguments = {shell.data(), option.data(), line.data(), nullptr};
  if (posix_spawn(&m_pid, "/bin/sh", &settings.actions, &settings.attributes, arguments.data(),
                  environ) != 0) {
    m_pid = -1;
    return;
  }
  watch();
}

// A child whose end cannot be seen would be waited for in vain, so it ends at once.
void ShellCommand::watch() {
  m_exited = openPidDescriptor(m_pid);
  if (m_exited.isOpen()) return;
  ::kill(-m_pid, SIGKILL);
  reap(m_pid);
  m_pid = -1;
}

// The bound matters: a command that prints faster than it is read would never let the caller look
// at the clock, and a grandchild that does so would never let it return.
bool ShellCommand::passOutput() {
  std::array<char, 4096> chunk;
  for (std::size_t passed = 0; passed < pipeSize; passed += chunk.size()) {
    const ssize_t size = ::read(m_read.get(), chunk.data(), chunk.size());
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return size < 0 && errno == EAGAIN;
    if (m_output == nullptr) continue;
    try {
      m_output->SendOutputStream(chunk.data(), static_cast<unsigned int>(size));
    } catch (framework::Exception* full) {
      delete full;
      m_output = nullptr;
    }
  }
  return true;
}

Outcome ShellCommand::waitForExit(std::int64_t limit, int abort) {
  Platform& machine = Platform::current();
  const std::int64_t end = machine.now() + limit;
  for (;;) {
    std::array<pollfd, 3> watched = {
        {{m_exited.get(), POLLIN, 0}, {abort, POLLIN, 0}, {m_read.get(), POLLIN, 0}}};
    const std::int64_t left = end - machine.now();
    if (left <= 0) return Outcome::TimedOut;
    if (::poll(watched.data(), watched.size(), milliseconds(left)) < 0) continue;
    if (watched[2].revents != 0 && !passOutput()) m_read.reset();
    if (watched[0].revents != 0) return Outcome::Exited;
    if (watched[1].revents != 0) return Outcome::Aborted;
  }
}

Result ShellCommand::waitFor(std::int64_t limit, int abort) {
  const Outcome outcome = waitForExit(limit, abort);
  if (outcome != Outcome::Exited) ::kill(-m_pid, SIGKILL);
  const int status = reap(m_pid);
  if (m_read.isOpen()) passOutput();
  return {outcome, status};
}

ShellCommand::Running ShellCommand::release() {
  return {m_pid, std::move(m_exited), std::move(m_error)};
}

int ShellCommand::reap(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) continue;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// A shell, too, gives the signal that ended its last command as a status.
utility::CommandOutcome outcomeOf(const Result& result, std::int64_t begun, std::string error) {
  using Stage = utility::CommandOutcome::Stage;
  constexpr int lastSignal = 64;
  const bool signalled = result.status > 128 && result.status <= 128 + lastSignal;
  const Stage byItself = signalled ? Stage::Signalled : Stage::Exited;
  return {.stage = result.outcome == Outcome::Exited       ? byItself
                   : result.outcome == Outcome::NotStarted ? Stage::NotStarted
                                                           : Stage::Killed,
          .value = signalled ? result.status - 128 : result.status,
          .begun = begun,
          .took = Platform::current().now() - begun,
          .error = std::move(error)};
}

}  // namespace platform
