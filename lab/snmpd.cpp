// Stands where the controller has its SNMP agent and runs the machine's in it: starts it once its
// file is there, and anew when the host says by SIGWINCH that the file has changed, since that
// agent ignores the signal, and keeps its engine's identity and the users of the old file on its
// own.
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>

namespace {

constexpr int kSignalBase = 128;   // a shell's exit status for a process that a signal ended
constexpr int kFileTenths = 1200;  // how long the file may take to appear

sigset_t handledSignals() {
  sigset_t handled;
  sigemptyset(&handled);
  for (const int signal : {SIGCHLD, SIGWINCH, SIGTERM, SIGINT}) sigaddset(&handled, signal);
  return handled;
}

/// False when a signal asked for the end first. A file that does not come is the agent's to report.
bool awaitFile(const char* path, const sigset_t& handled) {
  struct stat file {};
  const timespec tenth{.tv_sec = 0, .tv_nsec = 100'000'000};
  for (int i = 0; i < kFileTenths && (stat(path, &file) != 0 || file.st_size == 0); ++i) {
    const int signal = sigtimedwait(&handled, nullptr, &tenth);
    if (signal == SIGTERM || signal == SIGINT) return false;
  }
  return true;
}

pid_t startAgent(char** command, const sigset_t& handled) {
  std::fputs("the agent starts\n", stderr);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child != 0) return child;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  sigprocmask(SIG_UNBLOCK, &handled, nullptr);
  execv(command[0], command);
  std::perror(command[0]);
  _exit(127);
}

/// Runs the agent until it ends by itself or a signal asks for it; its exit status.
int keepRunning(char** command, const sigset_t& handled) {
  pid_t agent = startAgent(command, handled);
  while (agent > 0) {
    const int signal = sigwaitinfo(&handled, nullptr);
    if (signal < 0) continue;
    const bool asked = signal != SIGCHLD;
    if (asked) kill(agent, SIGTERM);
    int status = 0;
    if (waitpid(agent, &status, asked ? 0 : WNOHANG) != agent) continue;
    if (signal != SIGWINCH) {
      return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
    }
    agent = startAgent(command, handled);
  }
  std::perror("fork");
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s FILE AGENT [ARGUMENT]...\n", argv[0]);
    return 2;
  }
  setenv("MIBS", "", 1);  // texts that the agent does not need and a machine may lack
  const sigset_t handled = handledSignals();
  sigprocmask(SIG_BLOCK, &handled, nullptr);
  return awaitFile(argv[1], handled) ? keepRunning(argv + 2, handled) : 0;
}
