// The real machine.
#include "host/machine/LinuxPlatform.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <utility>

#include "host/machine/LinuxExitWatch.h"

namespace platform {

namespace {

std::int64_t read(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return time.tv_sec * 1000000LL + time.tv_nsec / 1000;
}

// The machine in force; null for Linux.
std::atomic<Platform*> installed = nullptr;  // threads of the machine may still look

}  // namespace

LinuxPlatform::LinuxPlatform()
    : m_anchor(read(CLOCK_REALTIME) - read(CLOCK_BOOTTIME)), m_abort(::eventfd(0, EFD_CLOEXEC)) {}

std::int64_t LinuxPlatform::now() { return read(CLOCK_BOOTTIME) + m_anchor; }

std::int64_t LinuxPlatform::wallOffset() { return read(CLOCK_REALTIME) - now(); }

const char* LinuxPlatform::locate(const char* path, char* /*buffer*/, std::size_t /*size*/) {
  return path;
}

void LinuxPlatform::wait(WaitPoint& point, std::int64_t microseconds) {
  std::unique_lock lock(point.mutex, std::adopt_lock);
  const std::uint64_t broadcasts = point.broadcasts;
  point.condition.wait_for(lock, std::chrono::microseconds(microseconds),
                           [&] { return point.signalled || point.broadcasts != broadcasts; });
  point.signalled = false;
  lock.release();
}

void LinuxPlatform::delay(std::int64_t microseconds) {
  timespec left{.tv_sec = microseconds / 1000000,
                .tv_nsec = static_cast<long>(microseconds % 1000000) * 1000};
  while (::clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) continue;
}

Result LinuxPlatform::run(const Command& command) {
  if (command.detached) {
    m_reaper.enqueue(command);
    return {};
  }
  const std::int64_t begun = now();
  ShellCommand child(command);
  Result result{Outcome::NotStarted, -1};
  if (child.started()) result = child.waitFor(command.limit, m_abort.get());
  if (command.told) command.told(outcomeOf(result, begun, child.lastError()));
  return result;
}

void LinuxPlatform::finishCommands() { m_reaper.finish(); }

void LinuxPlatform::abortCommands() {
  ::eventfd_write(m_abort.get(), 1);
  m_reaper.handOver();
}

int LinuxPlatform::queueSignal(int pid, int signal, int value) {
  sigval data{};
  data.sival_int = value;
  return ::sigqueue(pid, signal, data);
}

std::unique_ptr<utility::ExitWatch> LinuxPlatform::watchExits(std::function<void()> woken) {
  return std::make_unique<LinuxExitWatch>(std::move(woken));
}

Platform& Platform::current() {
  // Detached commands and other static objects may outlive main, so the machine stays.
  static LinuxPlatform& real = *new LinuxPlatform;
  Platform* const other = installed;
  return other == nullptr ? real : *other;
}

void Platform::install(Platform* platform) { installed = platform; }

}  // namespace platform

namespace utility {

System& System::current() { return platform::Platform::current(); }

}  // namespace utility
