// Processes watched by their descriptors.
#include "host/machine/LinuxExitWatch.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "host/machine/DescriptorLimit.h"
#include "util/ut_System.h"

namespace platform {

namespace {

constexpr utility::ExitWatch::Id wakeId = 0;

bool listen(int events, int descriptor, std::uint32_t kinds, utility::ExitWatch::Id id) {
  epoll_event event{.events = kinds, .data = {.u64 = id}};
  return ::epoll_ctl(events, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

}  // namespace

LinuxExitWatch::LinuxExitWatch(std::function<void()> woken)
    : ExitWatch(std::move(woken)),
      m_events(::epoll_create1(EPOLL_CLOEXEC)),
      m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  listen(m_events.get(), m_wake.get(), EPOLLIN, wakeId);
}

LinuxExitWatch::~LinuxExitWatch() {
  {
    const std::lock_guard lock(m_alarmMutex);
    m_stop = true;
  }
  ::eventfd_write(m_wake.get(), 1);
  if (m_thread.joinable()) m_thread.join();
}

bool LinuxExitWatch::isRunning() {
  if (m_thread.joinable()) return true;
  try {
    m_thread = std::thread([this] { run(); });
  } catch (const std::system_error&) {  // the poll period remains
  }
  return m_thread.joinable();
}

int LinuxExitWatch::open(Id id, int pid) {
  const Descriptor low(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
  if (!low.isOpen() || !isRunning()) return -1;
  Descriptor kept(::fcntl(low.get(), F_DUPFD_CLOEXEC, freeDescriptors()));
  // Once, as it stays readable.
  if (!kept.isOpen() || !listen(m_events.get(), kept.get(), EPOLLIN | EPOLLONESHOT, id)) return -1;
  return kept.release();
}

void LinuxExitWatch::close(int handle) { ::close(handle); }

void LinuxExitWatch::arm(std::int64_t at) {
  if (!isRunning()) return;
  {
    const std::lock_guard lock(m_alarmMutex);
    if (m_alarm == at) return;
    m_alarm = at;
  }
  ::eventfd_write(m_wake.get(), 1);
}

// Milliseconds; -1 for no alarm, -2 for the end.
int LinuxExitWatch::timeToAlarm() {
  const std::lock_guard lock(m_alarmMutex);
  if (m_stop) return -2;
  if (m_alarm == 0) return -1;
  const std::int64_t left = m_alarm - utility::System::current().now();
  return static_cast<int>(std::clamp<std::int64_t>((left + 999) / 1000, 0, 3600000));
}

void LinuxExitWatch::run() {
  std::array<epoll_event, 64> events;
  for (int timeout = timeToAlarm(); timeout >= -1; timeout = timeToAlarm()) {
    const int count = ::epoll_wait(m_events.get(), events.data(), events.size(), timeout);
    for (int i = 0; i < count; ++i) {
      eventfd_t ignored = 0;
      const Id id = events[static_cast<std::size_t>(i)].data.u64;
      id == wakeId ? void(::eventfd_read(m_wake.get(), &ignored)) : ended(id);
    }
    if (timeToAlarm() != 0) continue;
    {
      const std::lock_guard lock(m_alarmMutex);
      m_alarm = 0;
    }
    due();
  }
}

}  // namespace platform
