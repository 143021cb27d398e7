// Begins the commands that run in the background, each in its turn, and waits for their ends.
#include "host/machine/Reaper.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <set>
#include <utility>

namespace platform {

namespace {

using Stage = utility::CommandOutcome::Stage;

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

void Reaper::enqueue(const Command& command) {
  const std::lock_guard lock(m_mutex);
  m_waiting.push_back({.queue = command.queue == nullptr ? "" : command.queue,
                       .line = command.line,
                       .limit = command.limit,
                       .keepsError = command.keepsError,
                       .told = command.told});
  if (m_handsOver) handOverWaiting();
  wake();
}

void Reaper::finish() {
  std::unique_lock lock(m_mutex);
  m_begun.wait(lock, [this] { return m_waiting.empty(); });
}

void Reaper::handOver() {
  const std::lock_guard lock(m_mutex);
  m_handsOver = true;
  if (m_waiting.empty()) return;
  handOverWaiting();
  wake();
}

void Reaper::wake() {
  ::eventfd_write(m_wake.get(), 1);
  if (!m_thread.joinable()) m_thread = std::thread([this] { run(); });
}

void Reaper::run() {
  for (;;) {
    int timeout = -1;
    {
      const std::lock_guard lock(m_mutex);
      if (m_stop) return;
      const std::int64_t now = Platform::current().now();
      markLate(now);
      beginDue(now);
      if (m_waiting.empty()) m_begun.notify_all();
      timeout = timeToNextLimit(now);
    }
    tellNews();
    const std::vector<short> events = awaitEvents(timeout);
    const std::lock_guard lock(m_mutex);
    reapEnded(events);
  }
}

// Of each child whether it has ended. Those that come meanwhile are behind them.
std::vector<short> Reaper::awaitEvents(int timeout) {
  std::vector<pollfd> watched = {{m_wake.get(), POLLIN, 0}};
  {
    const std::lock_guard lock(m_mutex);
    for (const Child& child : m_children) watched.push_back({child.shell.exited.get(), POLLIN, 0});
  }
  std::vector<short> events;
  if (::poll(watched.data(), watched.size(), timeout) <= 0) return events;
  eventfd_t count = 0;
  if (watched[0].revents != 0) ::eventfd_read(m_wake.get(), &count);
  for (std::size_t i = 1; i < watched.size(); ++i) events.push_back(watched[i].revents);
  return events;
}

void Reaper::reapEnded(const std::vector<short>& events) {
  for (std::size_t i = events.size(); i-- > 0;) {
    if (events[i] == 0) continue;
    Child& child = m_children[i];
    const int status = ShellCommand::reap(child.shell.pid);
    m_news.push_back({std::move(child.turn.told), outcomeOf({Outcome::Exited, status}, child.begun,
                                                            child.shell.error.lastLine())});
    m_children.erase(m_children.begin() + static_cast<std::ptrdiff_t>(i));
  }
}

void Reaper::markLate(std::int64_t now) {
  for (Child& child : m_children) {
    if (child.isLate || now - child.begun < child.turn.limit) continue;
    child.isLate = true;
    m_news.push_back({child.turn.told,
                      {.stage = Stage::Running,
                       .begun = child.begun,
                       .took = now - child.begun,
                       .error = child.shell.error.lastLine()}});
  }
}

void Reaper::beginDue(std::int64_t now) {
  std::set<std::string> held;  // the queues whose next one waits
  for (auto turn = m_waiting.begin(); turn != m_waiting.end();) {
    const bool waits =
        !turn->queue.empty() && (held.contains(turn->queue) || punctualOf(turn->queue) != nullptr);
    const bool isFull = punctual() >= most;
    if (!waits && isFull && !std::exchange(turn->toldToWait, true)) {
      m_news.push_back({turn->told, {.stage = Stage::Waiting}});
    }
    if (waits || isFull) {
      held.insert(turn->queue);
      ++turn;
    } else {
      begin(std::move(*turn), now);
      turn = m_waiting.erase(turn);
    }
  }
}

void Reaper::begin(Turn turn, std::int64_t now) {
  ShellCommand command(
      {.line = turn.line.c_str(), .detached = true, .keepsError = turn.keepsError});
  if (command.started()) {
    m_children.push_back({.turn = std::move(turn), .shell = command.release(), .begun = now});
  } else {
    m_news.push_back({std::move(turn.told), {.stage = Stage::NotStarted}});
  }
}

const Reaper::Child* Reaper::punctualOf(const std::string& queue) const {
  const auto found = std::find_if(m_children.rbegin(), m_children.rend(), [&](const Child& child) {
    return !child.isLate && child.turn.queue == queue;
  });
  return found == m_children.rend() ? nullptr : &*found;
}

std::size_t Reaper::punctual() const {
  return static_cast<std::size_t>(std::ranges::count(m_children, false, &Child::isLate));
}

int Reaper::timeToNextLimit(std::int64_t now) const {
  constexpr std::int64_t longest = 3600 * second;
  std::int64_t next = -1;
  for (const Child& child : m_children) {
    if (child.isLate) continue;
    const std::int64_t left =
        std::clamp<std::int64_t>(child.begun + child.turn.limit - now, 0, longest);
    next = next < 0 ? left : std::min(next, left);
  }
  return next < 0 ? -1 : static_cast<int>(next / 1000 + 1);
}

// One shell a queue, which first waits for the one that was begun last, and one for those of none.
void Reaper::handOverWaiting() {
  while (!m_waiting.empty()) {
    const std::string queue = m_waiting.front().queue;
    Turn shell{.queue = queue};
    if (const Child* before = queue.empty() ? nullptr : punctualOf(queue)) {
      shell.limit = before->turn.limit;
      shell.line = awaitLine(std::to_string(before->shell.pid), shell.limit);
    }
    std::erase_if(m_waiting, [&](const Turn& turn) {
      if (turn.queue != queue) return false;
      shell.line += "{ " + turn.line + "\n} &\n";
      if (!queue.empty()) shell.line += awaitLine("$!", turn.limit);
      shell.limit += turn.limit;
      return true;
    });
    begin(std::move(shell), Platform::current().now());  // what comes yet waits for that shell
  }
  m_begun.notify_all();
}

void Reaper::tellNews() {
  std::vector<News> news;
  {
    const std::lock_guard lock(m_mutex);
    news.swap(m_news);
  }
  for (const News& one : news) {
    if (one.told) one.told(one.outcome);
  }
}

}  // namespace platform
