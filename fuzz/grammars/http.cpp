// The bytes of a web client, in pieces of a size that the first byte says, through both ways in: as
// the TLS listener reads requests, and as the plain one serves a client to its end.

#include "fuzz/play.h"
#include "host/web/ht_Client.h"
#include "host/web/ht_Responder.h"

using namespace services::http;
using Stage = Client::Stage;

namespace {

int pages = 0;

std::string answer(const Asked& asked) {
  static const Responder responder(
      [] { return ++pages, std::string(30000, 'p'); },
      {.isOpen = [] { return true; }, .port = 8443, .address = "127.0.0.1"});
  const int before = pages;
  const Reply reply = responder.answer(asked);
  REQUIRE(reply.text.starts_with("HTTP/1.1 ") && !reply.keeps);
  REQUIRE(pages <= before + (asked.fault == 0 ? 1 : 0));
  return reply.text;
}

// The requests that are taken from pieces of that size, up to the first that is at fault or last.
// What is begun when the client sends no more is at fault.
std::string parse(const std::string& bytes, std::size_t size) {
  std::string taken;
  RequestParser parser(1 << 16);
  for (std::size_t at = 0; at < bytes.size() || parser.isBegun(); at += size) {
    at < bytes.size() ? parser.put(bytes.substr(at, size)) : parser.end();
    while (parser.isWhole()) {
      const Asked asked = parser.take();
      answer(asked);
      taken += asked.request.method + " " + asked.request.target + " " + asked.request.body +
               std::to_string(asked.fault) + "\n";
      if (asked.isLast) return taken;
    }
  }
  return taken;
}

void takeResponse(Client& client, int peer, const std::string& response,
                  Client::Clock::time_point& now, const WebLimits& limits) {
  const auto answered = now;
  client.respond({.text = response}, {}, answered);
  std::string taken, part(4096, ' ');
  while (client.stage() == Stage::Response) {
    REQUIRE(client.deadline() == answered + limits.response);
    client.advance(now += std::chrono::milliseconds(1));
    const auto count = ::recv(peer, part.data(), part.size(), 0);
    taken.append(part, 0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  for (ssize_t count = 0; (count = ::recv(peer, part.data(), part.size(), 0)) > 0;) {
    taken.append(part, 0, static_cast<std::size_t>(count));
  }
  REQUIRE(taken == response);
}

void serve(const std::string& bytes, std::size_t size) {
  static const WebLimits limits;
  int ends[2];
  const int room = 1;  // the least that there is
  REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0);
  ::setsockopt(ends[0], SOL_SOCKET, SO_SNDBUF, &room, sizeof room);
  const platform::Descriptor peer(ends[1]);
  auto now = Client::Clock::now();
  const auto start = now;
  Client client({platform::Descriptor(ends[0])}, nullptr, limits, start);
  for (std::size_t at = 0; at < bytes.size() && client.stage() == Stage::Request; at += size) {
    REQUIRE(client.deadline() == start + limits.request);
    ::send(peer.get(), &bytes[at], std::min(size, bytes.size() - at), MSG_NOSIGNAL);
    client.advance(now += std::chrono::milliseconds(1));
  }
  if (client.stage() != Stage::Page) return;
  REQUIRE(client.asked().isLast && client.asked().request.body.empty());
  takeResponse(client, peer.get(), answer(client.asked()), now, limits);
  const auto ended = now;
  ::send(peer.get(), "x", 1, MSG_NOSIGNAL);
  client.advance(now += std::chrono::milliseconds(1));
  REQUIRE(client.deadline() == ended + limits.end);
  ::shutdown(peer.get(), SHUT_WR);
  client.advance(now);
  REQUIRE(client.stage() == Stage::Gone);
}

}  // namespace

void play(const std::string& input) {
  if (input.empty()) return;
  const std::size_t size = 1 + static_cast<unsigned char>(input[0]);
  REQUIRE(parse(input.substr(1), size) == parse(input.substr(1), input.size()));
  serve(input.substr(1), size);
}
