// A web listener: its port, its clients, and the threads that serve them.
#include "host/web/ht_Listener.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/base/fw_Guarded.h"
#include "host/web/ht_TlsContext.h"

namespace services::http {

using framework::Logger;
using framework::LogType;

namespace {

constexpr int acceptedAtOnce = 16;
constexpr std::size_t mostNewcomers = 256;  // that a closing takes along
constexpr std::chrono::seconds pauseAccepting(1);

}  // namespace

Listener::Listener(const char* name, const WebSettings& settings, int port, bool secure,
                   const Responder& responder)
    : m_name(name),
      m_settings(settings),
      m_port(port),
      m_secure(secure),
      m_responder(responder),
      m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  for (std::thread& thread : m_renderers) thread = std::thread([this] { render(); });
  m_serving = std::thread([this] { serve(); });
}

Listener::~Listener() {
  stop();
  m_serving.join();
  {
    const std::lock_guard lock(m_mutex);
    m_ended = true;
    m_changed.notify_all();
  }
  for (std::thread& thread : m_renderers) thread.join();
}

bool Listener::enable() {
  const std::lock_guard lock(m_mutex);
  m_failure.clear();
  return m_socket.isOpen() || open();
}

void Listener::disable() {
  const std::lock_guard lock(m_mutex);
  m_retryAt = never;
  close();
}

bool Listener::isOpen() const {
  const std::lock_guard lock(m_mutex);
  return m_socket.isOpen();
}

std::string Listener::certificate() const {
  const std::lock_guard lock(m_mutex);
  return m_socket.isOpen() ? certificateOf(m_tls.get()) : "";
}

void Listener::renewCertificate() {
  std::string failure;
  auto tls = openTlsContext(m_settings, failure);
  const std::lock_guard lock(m_mutex);
  if (tls != nullptr && m_socket.isOpen()) m_tls = std::move(tls);
}

void Listener::stop() {
  const std::lock_guard lock(m_mutex);
  if (m_drainEnd != never) return;
  m_drainEnd = Clock::now() + m_settings.limits.drain;
  m_retryAt = never;
  close();
  wake();
}

void Listener::wake() const { ::eventfd_write(m_wake.get(), 1); }

bool Listener::open() {
  std::string failure;
  auto tls = m_secure ? openTlsContext(m_settings, failure) : nullptr;
  if (m_secure && tls == nullptr) return fail("has no certificate: " + failure);
  const std::string place = m_settings.address + ":" + std::to_string(m_port);
  m_socket = network::listenAt(m_settings.address, m_port);
  if (!m_socket.isOpen()) return fail("cannot listen at " + place + ": " + std::strerror(errno));
  m_tls = std::move(tls);  // not before: who was taken by a closing still needs the last one
  m_retryAt = never;
  wake();
  Logger::StaticLog(LogType::Info, "web: %s listens at %s%s", m_name, place.c_str(),
                    network::isHere(m_settings.address) ? "" : ", which is not here yet");
  return true;
}

// Says it once for each reason.
bool Listener::fail(const std::string& reason) {
  if (reason != m_failure) {
    Logger::StaticLog(LogType::Error, "web: %s %s; tried again", m_name, reason.c_str());
  }
  m_failure = reason;
  m_retryAt = Clock::now() + m_settings.limits.retry;
  wake();
  return false;
}

// Who waits in the kernel is taken first: closing would reset those connections. A command that is
// just being started may hold the socket for a moment longer, hence the shutdown.
void Listener::close() {
  if (!m_socket.isOpen()) return;
  const int socket = m_socket.get();
  network::turnAwayNewcomers(socket);
  while (m_newcomers.size() < mostNewcomers &&
         network::comesYet(socket, m_settings.limits.setUpMilliseconds) && takeOne()) {
  }
  ::shutdown(socket, SHUT_RDWR);
  m_socket.reset();
  wake();
  Logger::StaticLog(LogType::Info, "web: %s is closed", m_name);
}

// Accepts one connection. False, with errno, when there is none.
bool Listener::takeOne() {
  auto newcomer = network::acceptFrom(m_socket.get());
  if (newcomer) m_newcomers.push_back(std::move(*newcomer));
  return newcomer.has_value();
}

// Without the pause, a lack of descriptors would keep the thread spinning.
void Listener::accept() {
  int room = acceptedAtOnce;
  while (room > 0 && takeOne()) --room;
  if (room == 0 || network::isNobody(errno)) return;
  Logger::StaticLog(LogType::Error, "web: %s cannot accept a client: %s", m_name,
                    std::strerror(errno));
  m_acceptAt = Clock::now() + pauseAccepting;
}

void Listener::serve() {
  while (!isDone()) round();
}

bool Listener::isDone() const {
  const std::lock_guard lock(m_mutex);
  return m_drainEnd != never && m_newcomers.empty() && m_clients.empty();
}

// Clients go on before newcomers come, so that nobody makes room whose request is there already.
void Listener::round() {
  std::vector<pollfd> events = {{.fd = m_wake.get(), .events = POLLIN, .revents = 0}};
  auto next = addListening(events);
  for (const Client& client : m_clients) {
    events.push_back({.fd = client.socket(), .events = client.events(), .revents = 0});
    next = std::min(next, client.deadline());
  }
  ::poll(events.data(), events.size(), network::millisecondsTo(next));
  eventfd_t count = 0;
  ::eventfd_read(m_wake.get(), &count);
  const auto now = Clock::now();
  auto event = events.begin() + 2;
  for (Client& client : m_clients) {
    if ((event++)->revents != 0) advance(client, now);
  }
  takeOver(events[1].revents != 0, now);
  std::erase_if(m_clients, [&](const Client& client) { return isLate(client, now); });
}

bool Listener::isLate(const Client& client, Clock::time_point now) const {
  if (client.deadline() > now) return false;
  if (client.stage() == Client::Stage::Stream) {
    Logger::StaticLog(LogType::Warning, "web: %s ended a stream: its reader was too slow", m_name);
  }
  return true;
}

// What to accept, if anybody can be; the answer is when the next of its own times comes.
Listener::Clock::time_point Listener::addListening(std::vector<pollfd>& events) {
  const bool isFull = m_clients.size() >= m_settings.limits.bounds.all &&
                      std::ranges::all_of(m_clients, [](const Client& client) {
                        return client.stage() == Client::Stage::Page;
                      });
  const std::lock_guard lock(m_mutex);
  if (m_acceptAt <= Clock::now()) m_acceptAt = never;
  const bool accepts = !isFull && m_acceptAt == never;
  events.push_back({.fd = accepts ? m_socket.get() : -1, .events = POLLIN, .revents = 0});
  return std::min({m_retryAt, m_acceptAt, m_drainEnd});
}

void Listener::advance(Client& client, Clock::time_point now) {
  client.advance(now);
  if (client.stage() != Client::Stage::Page) return;
  const std::lock_guard lock(m_mutex);
  m_requests.push_back(&client);
  m_changed.notify_one();
}

// What other threads have left, and who waits in the kernel.
void Listener::takeOver(bool accepting, Clock::time_point now) {
  std::vector<network::Newcomer> newcomers;
  std::vector<Answer> answers;
  std::unique_lock lock(m_mutex);
  if (m_retryAt <= now) open();
  if (accepting && m_socket.isOpen()) accept();
  newcomers.swap(m_newcomers);
  answers.swap(m_answers);
  const bool isOpen = m_socket.isOpen();
  const auto tls = m_tls;
  const bool isOver = m_drainEnd <= now;
  if (isOver) {
    for (Client* client : m_requests) answers.push_back({client, {}});
    m_requests.clear();
  }
  lock.unlock();
  for (Answer& answer : answers) {
    answer.client->respond(
        std::move(answer.reply), [this] { wake(); }, now);
  }
  if (!isOpen) {
    for (Client& client : m_clients) client.closeWhenIdle(now);
  }
  for (auto& newcomer : newcomers) {
    if (isOpen) makeRoom(newcomer.address);
    advance(m_clients.emplace_back(std::move(newcomer), tls.get(), m_settings.limits, now), now);
  }
  if (isOver) {
    std::erase_if(m_clients, [](const Client& c) { return c.stage() != Client::Stage::Page; });
  }
}

void Listener::makeRoom(std::uint32_t newcomer) {
  std::vector<network::Occupant> occupants;
  for (const Client& client : m_clients) occupants.push_back(client.occupant());
  const auto leaves = network::whoMakesRoom(occupants, newcomer, m_settings.limits.bounds);
  if (leaves) m_clients.erase(std::next(m_clients.begin(), static_cast<long>(*leaves)));
}

void Listener::render() {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_ended || !m_requests.empty(); });
    if (m_requests.empty()) return;
    Client* client = m_requests.front();
    m_requests.pop_front();
    lock.unlock();
    Reply reply;
    framework::guarded("web", "client", [&] { reply = m_responder.answer(client->asked()); });
    lock.lock();
    m_answers.push_back({client, std::move(reply)});
    wake();
  }
}

}  // namespace services::http
