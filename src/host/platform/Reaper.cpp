// Waits for the ends of the commands that run in the background.
#include "host/platform/Reaper.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>

#include <cerrno>

namespace platform {

Reaper::Reaper() : m_wake(::eventfd(0, EFD_CLOEXEC)) {}

Reaper::~Reaper() {
  {
    const std::lock_guard lock(m_mutex);
    m_stop = true;
    ::eventfd_write(m_wake.get(), 1);
  }
  if (m_thread.joinable()) m_thread.join();
}

void Reaper::adopt(ShellCommand::Running child) {
  const std::lock_guard lock(m_mutex);
  m_new.push_back(std::move(child));
  ::eventfd_write(m_wake.get(), 1);
  if (!m_thread.joinable()) m_thread = std::thread([this] { run(); });
}

void Reaper::run() {
  for (;;) {
    std::vector<pollfd> watched = {{m_wake.get(), POLLIN, 0}};
    for (const auto& child : m_children) watched.push_back({child.exited.get(), POLLIN, 0});
    if (::poll(watched.data(), watched.size(), -1) < 0) continue;
    std::vector<short> events;
    for (std::size_t i = 1; i < watched.size(); ++i) events.push_back(watched[i].revents);
    reapEnded(events);
    if (watched[0].revents == 0) continue;
    const std::lock_guard lock(m_mutex);
    if (m_stop) return;
    takeNew();
  }
}

void Reaper::takeNew() {
  eventfd_t count = 0;
  ::eventfd_read(m_wake.get(), &count);
  for (auto& child : m_new) m_children.push_back(std::move(child));
  m_new.clear();
}

void Reaper::reapEnded(const std::vector<short>& events) {
  for (std::size_t i = events.size(); i-- > 0;) {
    if (events[i] == 0) continue;
    while (::waitpid(m_children[i].pid, nullptr, 0) < 0 && errno == EINTR) continue;
    m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

}  // namespace platform
