// The ways in which the daemon is told to stop, and the time that it may take.
#include "mchost/StopControl.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "host/log/fw_Logger.h"
#include "host/machine/Platform.h"
#include "mchost/LifeStep.h"

namespace mchost {

namespace {

constexpr int commandsEndAfter = 4000;  // milliseconds
constexpr int processEndsAfter = 850;   // milliseconds more
constexpr std::chrono::milliseconds lastLineTakes(50);

sigset_t stopSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  return set;
}

// Whether one of the two descriptors becomes readable, and which.
enum class Readable { None, First, Second };

Readable waitFor(int first, int second, int timeout) {
  std::array<pollfd, 2> watched = {{{first, POLLIN, 0}, {second, POLLIN, 0}}};
  while (::poll(watched.data(), watched.size(), timeout) < 0) continue;
  if (watched[0].revents != 0) return Readable::First;
  return watched[1].revents != 0 ? Readable::Second : Readable::None;
}

void consumeSignal(int descriptor) {
  signalfd_siginfo signal{};
  if (::read(descriptor, &signal, sizeof(signal)) < 0) return;
}

}  // namespace

void StopControl::blockSignals() {
  const sigset_t set = stopSignals();
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void StopControl::unblockSignals() {
  const sigset_t set = stopSignals();
  ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

StopControl::StopControl() {
  const sigset_t set = stopSignals();
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGHUP, SIG_IGN);
  ::signal(SIGCHLD, SIG_DFL);  // inherited as ignored it would make every command a success
  m_signals.reset(::signalfd(-1, &set, SFD_CLOEXEC));
  m_wake.reset(::eventfd(0, EFD_CLOEXEC));
  m_done.reset(::eventfd(0, EFD_CLOEXEC));
  m_thread = std::thread([this] { watch(); });
}

StopControl::~StopControl() {
  ::eventfd_write(m_done.get(), 1);
  ::eventfd_write(m_wake.get(), 1);
  m_thread.join();
}

void StopControl::request() {
  const std::lock_guard lock(m_mutex);
  m_requested = true;
  m_changed.notify_all();
  ::eventfd_write(m_wake.get(), 1);
}

bool StopControl::waitForStop(std::chrono::milliseconds limit) {
  std::unique_lock lock(m_mutex);
  return m_changed.wait_for(lock, limit, [this] { return m_requested; });
}

void StopControl::watch() {
  if (waitFor(m_signals.get(), m_wake.get(), -1) == Readable::First) {
    consumeSignal(m_signals.get());
    request();
  }
  awaitSignal(commandsEndAfter);
  platform::Platform::current().abortCommands();
  awaitSignal(processEndsAfter);
  if (waitFor(m_done.get(), -1, 0) == Readable::First) return;
  framework::Logger::StaticLog(framework::LogType::Error, "could not stop in time: %s",
                               currentStep().c_str());
  framework::Logger::drain(lastLineTakes);
  ::_exit(EXIT_FAILURE);
}

void StopControl::awaitSignal(int timeout) const {
  if (waitFor(m_done.get(), m_signals.get(), timeout) != Readable::Second) return;
  platform::Platform::current().abortCommands();  // also sees to those that wait for their turn
  ::_exit(EXIT_FAILURE);
}

}  // namespace mchost
