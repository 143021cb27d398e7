// The bytes of a web client, in two pieces: the first byte says where they part.
#include <sys/socket.h>

#include "fuzz/play.h"
#include "host/web/ht_Client.h"
#include "host/web/ht_Responder.h"

using namespace services::http;

namespace {

int pages = 0;

Responder& responder() {
  static Responder only([] { return ++pages, std::string("page"); },
                        {.isOpen = [] { return true; }, .port = 8443, .address = "127.0.0.1"});
  return only;
}

void answer(const Asked& asked) {
  const int before = pages;
  const Reply reply = responder().answer(asked);
  REQUIRE(reply.text.starts_with("HTTP/1.1 ") && !reply.keeps);
  REQUIRE(pages <= before + (asked.fault == 0 ? 1 : 0));
}

// As the TLS listener reads it: one request after another, with bodies.
void parse(const std::string& first, const std::string& second) {
  RequestParser parser(1 << 16);
  for (const auto& piece : {first, second}) {
    parser.put(piece);
    while (parser.isWhole()) {
      const Asked asked = parser.take();
      answer(asked);
      if (asked.isLast) return;
    }
  }
}

// As the plain listener serves it.
void serve(const std::string& first, const std::string& second) {
  static const WebLimits limits;
  int ends[2];
  REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0);
  platform::Descriptor peer(ends[1]);
  const auto now = Client::Clock::now();
  Client client({platform::Descriptor(ends[0])}, nullptr, limits, now);
  for (const auto& piece : {first, second}) {
    ::send(peer.get(), piece.data(), piece.size(), MSG_NOSIGNAL);
    for (int i = 0; i < 20; ++i) client.advance(now);
  }
  if (client.stage() != Client::Stage::Page) return;
  REQUIRE(client.asked().isLast && client.asked().request.body.empty());
  answer(client.asked());
  client.respond(responder().answer(client.asked()), {}, now);
  peer.reset();
  for (int i = 0; i < 20 && client.stage() != Client::Stage::Gone; ++i) client.advance(now);
  REQUIRE(client.stage() == Client::Stage::Gone);
}

}  // namespace

void play(const std::string& input) {
  if (input.empty()) return;
  const std::string first = input.substr(1, static_cast<unsigned char>(input[0]));
  const std::string second = input.size() > 256 ? input.substr(256) : "";
  parse(first, second);
  serve(first, second);
}
