// Waits for the ends of the commands that run in the background, and gives them their turns.
#include "host/machine/Reaper.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>

namespace platform {

namespace {

constexpr std::int64_t second = 1000000;

// A shell line that waits for the end of a process, at most that long.
std::string awaitLine(const std::string& pid, std::int64_t limit) {
  return "n=" + std::to_string(limit / second) + "; while [ $n -gt 0 ] && kill -0 " + pid +
         " 2>/dev/null; do sleep 1; n=$((n - 1)); done\n";
}

}  // namespace

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
  wake();
}

void Reaper::enqueue(const Command& command) {
  const std::lock_guard lock(m_mutex);
  Queue& queue = m_queues[command.queue];
  queue.waiting.push_back({command.line, command.limit, command.tell});
  if (m_handsOver) handOver(queue);
  wake();
}

void Reaper::finish() {
  std::unique_lock lock(m_mutex);
  m_begun.wait(lock, [this] { return !isAnyWaiting(); });
}

void Reaper::handOver() {
  const std::lock_guard lock(m_mutex);
  m_handsOver = true;
  for (auto& [name, queue] : m_queues) handOver(queue);
  m_begun.notify_all();
}

void Reaper::wake() {
  ::eventfd_write(m_wake.get(), 1);
  if (!m_thread.joinable()) m_thread = std::thread([this] { run(); });
}

bool Reaper::isAnyWaiting() const {
  return std::ranges::any_of(m_queues, [](const auto& q) { return !q.second.waiting.empty(); });
}

void Reaper::run() {
  for (;;) {
    int timeout = -1;
    {
      const std::lock_guard lock(m_mutex);
      if (m_stop) return;
      timeout = beginDue();
      for (auto& child : m_new) m_children.push_back(std::move(child));
      m_new.clear();
    }
    std::vector<pollfd> watched = {{m_wake.get(), POLLIN, 0}};
    for (const auto& child : m_children) watched.push_back({child.exited.get(), POLLIN, 0});
    if (::poll(watched.data(), watched.size(), timeout) < 0) continue;
    eventfd_t count = 0;
    if (watched[0].revents != 0) ::eventfd_read(m_wake.get(), &count);
    std::vector<short> events;
    for (std::size_t i = 1; i < watched.size(); ++i) events.push_back(watched[i].revents);
    reapEnded(events);
  }
}

void Reaper::reapEnded(const std::vector<short>& events) {
  for (std::size_t i = events.size(); i-- > 0;) {
    if (events[i] == 0) continue;
    const std::lock_guard lock(m_mutex);  // until the queue knows: the number may soon be another's
    const pid_t pid = m_children[i].pid;
    while (::waitpid(pid, nullptr, 0) < 0 && errno == EINTR) continue;
    m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(i));
    for (auto& [name, queue] : m_queues) {
      if (queue.pid == pid) queue.pid = 0;
    }
  }
}

int Reaper::beginDue() {
  constexpr std::int64_t longest = 3600 * second;
  const std::int64_t now = Platform::current().now();
  std::int64_t next = -1;
  for (auto& [name, queue] : m_queues) {
    while (!queue.waiting.empty() && (queue.pid == 0 || now >= queue.end)) beginNext(queue, now);
    if (queue.waiting.empty()) continue;
    const std::int64_t left = std::min(queue.end - now, longest);
    next = next < 0 ? left : std::min(next, left);
  }
  std::erase_if(m_queues, [](const auto& q) { return q.second.pid == 0; });
  if (!isAnyWaiting()) m_begun.notify_all();
  return next < 0 ? -1 : static_cast<int>(next / 1000 + 1);
}

void Reaper::beginNext(Queue& queue, std::int64_t now) {
  if (queue.pid != 0) queue.begun.tell(Outcome::TimedOut, queue.begun.line.c_str());
  queue.begun = std::move(queue.waiting.front());
  queue.waiting.pop_front();
  queue.end = now + queue.begun.limit;
  if (!start(queue, queue.begun.line)) {
    queue.begun.tell(Outcome::NotStarted, queue.begun.line.c_str());
  }
}

bool Reaper::start(Queue& queue, const std::string& line) {
  ShellCommand command({.line = line.c_str(), .detached = true});
  queue.pid = 0;
  if (!command.started()) return false;
  m_new.push_back(command.release());
  queue.pid = m_new.back().pid;
  return true;
}

void Reaper::handOver(Queue& queue) {
  if (queue.waiting.empty()) return;
  std::string script;
  std::int64_t limit = queue.pid == 0 ? 0 : queue.begun.limit;
  if (queue.pid != 0) script = awaitLine(std::to_string(queue.pid), limit);
  for (const Turn& turn : queue.waiting) {
    script += "{ " + turn.line + "\n} &\n" + awaitLine("$!", turn.limit);
    limit += turn.limit;
  }
  if (!start(queue, script)) {
    for (const Turn& turn : queue.waiting) turn.tell(Outcome::NotStarted, turn.line.c_str());
  }
  queue.waiting.clear();
  queue.begun.limit = limit;  // what comes yet waits for that shell
}

}  // namespace platform
