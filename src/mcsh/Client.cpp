// The client's end of the console's socket.
#include "mcsh/Client.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "host/console/fw_ConsoleSocket.h"

namespace mcsh {

namespace {
constexpr std::size_t longestHeader = 40;

// Whether there is something to read, or an end, before the time is over.
bool becomesReadable(int socket, std::chrono::milliseconds time) {
  pollfd event{.fd = socket, .events = POLLIN, .revents = 0};
  int ready = -1;
  while (ready < 0) ready = ::poll(&event, 1, static_cast<int>(time.count()));
  return ready > 0;
}
}  // namespace

Client::Client(const std::string& path, Patience patience)
    : m_path(path), m_patience(std::move(patience)), m_socket(framework::connectTo(path)) {
  if (!m_socket.isOpen()) fail(std::strerror(errno));
}

void Client::fail(const char* what) const { throw std::runtime_error(m_path + ": " + what); }

// A host that refuses a client sends its reply unasked and closes, so a failure to send says
// nothing yet.
Reply Client::ask(const std::string& line) {
  framework::sendAll(m_socket.get(), line + '\n');
  const std::string header = receiveHeader();
  const char* end = header.data() + header.size();
  Reply reply;
  std::size_t size = 0;
  const auto code = std::from_chars(header.data(), end, reply.code);
  if (code.ec != std::errc() || code.ptr == end || *code.ptr != ' ') fail("no console's reply");
  const auto length = std::from_chars(code.ptr + 1, end, size);
  if (length.ec != std::errc() || length.ptr != end) fail("no console's reply");
  reply.text = receive(size);
  return reply;
}

std::string Client::receiveHeader() {
  std::string header;
  for (std::string next = receive(1); next != "\n"; next = receive(1)) {
    if (header.size() == longestHeader) fail("no console's reply");
    header += next;
  }
  return header;
}

void Client::awaitAnswer() const {
  constexpr std::chrono::milliseconds forEver(-1);
  const auto limit = m_patience.limit;
  const auto notice = limit.count() > 0 ? std::min(limit, m_patience.notice) : m_patience.notice;
  if (becomesReadable(m_socket.get(), notice)) return;
  if (notice != limit) {
    if (m_patience.noAnswerYet) m_patience.noAnswerYet();
    const auto rest = limit.count() > 0 ? limit - notice : forEver;
    if (becomesReadable(m_socket.get(), rest)) return;
  }
  fail("no answer in time");
}

std::string Client::receive(std::size_t size) {
  std::string data;
  constexpr std::size_t chunkSize = 65536;
  while (data.size() < size) {
    awaitAnswer();
    const std::size_t before = data.size();
    data.resize(std::min(size, before + chunkSize));
    const ssize_t received = ::recv(m_socket.get(), data.data() + before, data.size() - before, 0);
    if (received < 0 && errno != EINTR) fail(std::strerror(errno));
    if (received == 0) fail("the host closed the connection");
    data.resize(before + static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
  }
  return data;
}

}  // namespace mcsh
