// Asking the partner controller, and answering it: texts signed with a key that both hold.
#include "host/network/nw_SignedExchange.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <nettle/hmac.h>
#include <nettle/memops.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <iterator>
#include <string_view>

#include "host/base/fw_Guarded.h"
#include "host/machine/Descriptor.h"
#include "util/si_Hexadecimal.h"
#include "util/ut_OpenFile.h"

namespace services::network {

namespace {

using Clock = std::chrono::steady_clock;
using platform::Descriptor;

constexpr std::string_view greeting = "MCPEER1 ";
constexpr std::size_t nonceDigits = 32;
constexpr std::size_t signatureDigits = 64;
constexpr std::size_t longestLine = 128;
constexpr int acceptedAtOnce = 16;
constexpr std::chrono::seconds pauseAccepting{1};

// Empty when the machine has no randomness to give.
std::string newNonce() {
  std::array<unsigned char, nonceDigits / 2> bytes;
  if (::getrandom(bytes.data(), bytes.size(), 0) != std::ssize(bytes)) return {};
  return hexadecimal(bytes);
}

const std::uint8_t* bytesOf(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::string signatureOf(const std::string& key, const std::string& nonce, const std::string& body) {
  hmac_sha256_ctx context;
  hmac_sha256_set_key(&context, key.size(), bytesOf(key));
  hmac_sha256_update(&context, nonce.size(), bytesOf(nonce));
  hmac_sha256_update(&context, body.size(), bytesOf(body));
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> bytes;
  hmac_sha256_digest(&context, bytes.size(), bytes.data());
  return hexadecimal(bytes);
}

bool isSame(const std::string& one, const std::string& other) {
  return one.size() == other.size() && memeql_sec(one.data(), other.data(), one.size()) != 0;
}

// A connection with a deadline for all that is done on it.
class Connection {
 public:
  Connection(int socket, std::chrono::milliseconds limit)
      : m_socket(socket), m_end(Clock::now() + limit) {}

  // Waits for the events of poll(2); false at the deadline.
  bool wait(short events) const {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(m_end - Clock::now());
    if (left.count() <= 0) return false;
    pollfd ready{.fd = m_socket, .events = events, .revents = 0};
    const int count = ::poll(&ready, 1, static_cast<int>(left.count()));
    return count > 0 || (count < 0 && errno == EINTR);
  }

  bool send(std::string_view text) const {
    while (!text.empty()) {
      if (!wait(POLLOUT)) return false;
      const ssize_t sent = ::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent < 0 && errno != EAGAIN && errno != EINTR) return false;
      if (sent > 0) text.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }

  // Up to the line end, which is left out; nothing when there is none in time.
  std::optional<std::string> line() {
    for (;;) {
      const std::size_t end = m_read.find('\n');
      if (end != std::string::npos) {
        std::string text = m_read.substr(0, end);
        m_read.erase(0, end + 1);
        return text;
      }
      if (m_read.size() > longestLine || !receive()) return std::nullopt;
    }
  }

  std::optional<std::string> bytes(std::size_t count) {
    while (m_read.size() < count) {
      if (!receive()) return std::nullopt;
    }
    return m_read.substr(0, count);
  }

 private:
  bool receive() {
    std::array<char, 1024> part;
    if (!wait(POLLIN)) return false;
    const ssize_t count = ::recv(m_socket, part.data(), part.size(), MSG_DONTWAIT);
    if (count > 0) m_read.append(part.data(), static_cast<std::size_t>(count));
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
  }

  int m_socket;
  Clock::time_point m_end;
  std::string m_read;
};

std::optional<sockaddr_in> endpointOf(const char* address, std::uint16_t port) {
  sockaddr_in endpoint{};
  endpoint.sin_family = AF_INET;
  endpoint.sin_port = htons(port);
  if (::inet_pton(AF_INET, address, &endpoint.sin_addr) != 1) return std::nullopt;
  return endpoint;
}

const sockaddr* generic(const sockaddr_in& endpoint) {
  return reinterpret_cast<const sockaddr*>(&endpoint);
}

// Connects in time, or errno says why not.
bool connectTo(int socket, const Connection& connection, const sockaddr_in& endpoint) {
  if (::connect(socket, generic(endpoint), sizeof endpoint) == 0) return true;
  if (errno != EINPROGRESS) return false;
  if (!connection.wait(POLLOUT)) {
    errno = ETIMEDOUT;
    return false;
  }
  socklen_t size = sizeof errno;
  ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &errno, &size);
  return errno == 0;
}

// The body of an answer to this nonce.
std::optional<std::string> readAnswer(Connection& connection, const std::string& key,
                                      const std::string& nonce, std::string& failure) {
  failure = "no complete answer";
  const auto head = connection.line();
  if (!head || head->size() <= signatureDigits || (*head)[signatureDigits] != ' ') return {};
  std::size_t length = 0;
  const char* end = head->data() + head->size();
  const auto parsed = std::from_chars(head->data() + signatureDigits + 1, end, length);
  if (parsed.ptr != end || parsed.ec != std::errc() || length > longestBody) return {};
  auto body = connection.bytes(length);
  if (!body) return {};
  if (!isSame(head->substr(0, signatureDigits), signatureOf(key, nonce, *body))) {
    failure = "the answer's signature is wrong";
    return {};
  }
  failure.clear();
  return body;
}

bool isNonce(std::string_view text) {
  return text.size() == nonceDigits &&
         text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace

std::optional<std::string> readExchangeKey(const char* path, std::string& failure) {
  const Descriptor file(utility::openFile(path, O_RDONLY, 0));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
    failure = std::string(path) + ": " + std::strerror(errno);
    return std::nullopt;
  }
  if ((status.st_mode & 077U) != 0) {
    failure = std::string(path) + ": must be readable by its owner alone";
    return std::nullopt;
  }
  std::array<char, 4097> bytes;
  const ssize_t size = ::read(file.get(), bytes.data(), bytes.size());
  if (size < 32 || size > 4096) {
    failure = std::string(path) + ": must hold 32 to 4096 bytes";
    return std::nullopt;
  }
  return std::string(bytes.data(), static_cast<std::size_t>(size));
}

std::optional<std::string> askSigned(const char* address, const ExchangeSettings& settings,
                                     int milliseconds, std::string& failure) {
  const auto endpoint = endpointOf(address, settings.port);
  const std::string nonce = newNonce();
  const Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  Connection connection(socket.get(), std::chrono::milliseconds(milliseconds));
  errno = EINVAL;
  if (!endpoint || nonce.empty() || !connectTo(socket.get(), connection, *endpoint)) {
    failure = std::strerror(errno);
    return std::nullopt;
  }
  if (!connection.send(std::string(greeting) + nonce + "\n")) {
    failure = "the question could not be sent";
    return std::nullopt;
  }
  return readAnswer(connection, settings.key, nonce, failure);
}

SignedListener::SignedListener(const std::vector<std::string>& addresses, ExchangeSettings settings,
                               std::function<std::string()> body, const ExchangeLimits& limits)
    : m_settings(std::move(settings)),
      m_body(std::move(body)),
      m_limits(limits),
      m_stop(::eventfd(0, EFD_CLOEXEC)) {
  for (const std::string& address : addresses) m_listening.push_back({address});
  openSockets();
  m_thread = std::thread([this] {
    while (round()) {
    }
  });
}

SignedListener::~SignedListener() {
  ::eventfd_write(m_stop.get(), 1);
  m_thread.join();
}

void SignedListener::openSockets() {
  const bool first = m_failure.empty();
  m_retryAt = Clock::time_point::max();
  for (ListeningSocket& listening : m_listening) {
    if (listening.socket.isOpen()) continue;
    listening.socket = listenAt(listening.address, m_settings.port);
    const std::string where = listening.address + ":" + std::to_string(m_settings.port);
    if (!listening.socket.isOpen()) {
      m_retryAt = Clock::now() + m_limits.retry;
      if (m_failure.empty()) m_failure = where + ": " + std::strerror(errno);
    } else if (!first) {
      framework::Logger::StaticLog(framework::LogType::Info, "partner: answered at %s now",
                                   where.c_str());
    }
  }
}

// Askers are heard before others are let in, so that nobody makes room whose question is there.
bool SignedListener::round() {
  std::vector<pollfd> events = {{.fd = m_stop.get(), .events = POLLIN, .revents = 0}};
  const bool accepts = m_acceptAt <= Clock::now();
  auto next = accepts ? m_retryAt : std::min(m_retryAt, m_acceptAt);
  for (const ListeningSocket& listening : m_listening) {
    events.push_back({.fd = accepts ? listening.socket.get() : -1, .events = POLLIN, .revents = 0});
  }
  for (const Asker& asker : m_askers) {
    events.push_back({.fd = asker.connection.socket.get(), .events = POLLIN, .revents = 0});
    next = std::min(next, asker.deadline);
  }
  ::poll(events.data(), events.size(), millisecondsTo(next));
  if (events[0].revents != 0) return false;
  const auto now = Clock::now();
  auto event = events.cbegin() + 1 + static_cast<long>(m_listening.size());
  std::erase_if(m_askers, [&](Asker& asker) {
    return ((event++)->revents != 0 && !hear(asker)) || asker.deadline <= now;
  });
  for (std::size_t i = 0; i < m_listening.size(); ++i) {
    if (events[i + 1].revents != 0) accept(m_listening[i], now);
  }
  if (m_retryAt <= now) openSockets();
  return true;
}

// Without the pause, a lack of descriptors would keep the thread spinning.
void SignedListener::accept(const ListeningSocket& listening, Clock::time_point now) {
  for (int i = 0; i < acceptedAtOnce; ++i) {
    auto newcomer = acceptFrom(listening.socket.get());
    if (!newcomer) {
      if (!isNobody(errno)) m_acceptAt = now + pauseAccepting;
      return;
    }
    makeRoom(newcomer->address);
    m_askers.push_back({std::move(*newcomer), now + m_limits.question});
    if (!hear(m_askers.back())) m_askers.pop_back();
  }
}

void SignedListener::makeRoom(std::uint32_t newcomer) {
  std::vector<Occupant> occupants;
  for (const Asker& asker : m_askers) {
    occupants.push_back({asker.connection.address, Progress::Asking});
  }
  const auto leaves = whoMakesRoom(occupants, newcomer, m_limits.bounds);
  if (leaves) m_askers.erase(std::next(m_askers.begin(), static_cast<long>(*leaves)));
}

// Takes what is there of the question and answers it when it is whole. False when the connection
// has come to its end.
bool SignedListener::hear(Asker& asker) const {
  std::array<char, longestLine> part;
  const ssize_t count = ::recv(asker.connection.socket.get(), part.data(), part.size(), 0);
  if (count < 0) return isNobody(errno);
  asker.question.append(part.data(), static_cast<std::size_t>(count));
  const bool isWhole = asker.question.find('\n') != std::string::npos;
  if (isWhole) framework::guarded("partner", "answer", [&] { answer(asker); });
  return !isWhole && count > 0 && asker.question.size() < longestLine;
}

// The kernel's buffer takes a whole answer: nobody is waited for.
void SignedListener::answer(const Asker& asker) const {
  const std::string question = asker.question.substr(0, asker.question.find('\n'));
  if (!question.starts_with(greeting)) return;
  const std::string nonce = question.substr(greeting.size());
  if (!isNonce(nonce)) return;
  const std::string body = m_body();
  const std::string text =
      signatureOf(m_settings.key, nonce, body) + " " + std::to_string(body.size()) + "\n" + body;
  const int room = 2 * longestBody;
  const int socket = asker.connection.socket.get();
  ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
  ::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
}

}  // namespace services::network
