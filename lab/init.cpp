// Process 1 of a controller on the bench: runs one command, reaps orphans, passes on signals.
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <initializer_list>

namespace {

constexpr int kSignalBase = 128;  // a shell's exit status for a process that a signal ended

pid_t startCommand(char** command, const sigset_t& handled) {
  const pid_t child = fork();
  if (child != 0) return child;
  sigprocmask(SIG_UNBLOCK, &handled, nullptr);
  execvp(command[0], command);
  std::perror(command[0]);
  _exit(127);
}

/// Reaps all that have ended; true once the command is among them, with its exit status set.
bool reap(pid_t command, int& exitStatus) {
  bool ended = false;
  int status = 0;
  for (pid_t pid = 0; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
    if (pid != command) continue;
    ended = true;
    exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
  }
  return ended;
}

/// Returns the command's exit status, or that of the signal that came a second time.
int superviseUntilEnd(pid_t command, const sigset_t& handled) {
  bool stopping = false;
  for (int exitStatus = 0;;) {
    const int signal = sigwaitinfo(&handled, nullptr);
    if (signal == SIGCHLD) {
      if (reap(command, exitStatus)) return exitStatus;
    } else if (signal > 0) {
      if (stopping) return kSignalBase + signal;
      stopping = true;
      kill(command, signal);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s COMMAND [ARGUMENT]...\n", argv[0]);
    return 2;
  }
  sigset_t handled;
  sigemptyset(&handled);
  for (const int signal : {SIGCHLD, SIGTERM, SIGINT}) {
    sigaddset(&handled, signal);
    std::signal(signal, SIG_DFL);  // a background job of a shell inherits an ignored SIGINT
  }
  sigprocmask(SIG_BLOCK, &handled, nullptr);
  const pid_t command = startCommand(argv + 1, handled);
  if (command < 0) {
    std::perror("fork");
    return 1;
  }
  // The end of process 1 ends every process of its namespace.
  return superviseUntilEnd(command, handled);
}
