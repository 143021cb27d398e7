// The bytes of a web client, in two pieces: the first byte says where they part.
#include <sys/socket.h>

#include "fuzz/play.h"
#include "host/web/ht_Client.h"
#include "host/web/ht_Responder.h"

using namespace services::http;

void play(const std::string& input) {
  static int pages = 0;
  static const Responder responder([] { return ++pages, std::string("page"); });
  static const WebLimits limits;
  if (input.empty()) return;
  int ends[2];
  REQUIRE(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) == 0);
  platform::Descriptor peer(ends[1]);
  const auto now = Client::Clock::now();
  Client client({platform::Descriptor(ends[0])}, nullptr, limits, now);
  const auto send = [&](const std::string& piece) {
    ::send(peer.get(), piece.data(), piece.size(), MSG_NOSIGNAL);
    for (int i = 0; i < 20; ++i) client.advance(now);
  };
  send(input.substr(1, static_cast<unsigned char>(input[0])));
  if (input.size() > 256) send(input.substr(256));
  if (client.stage() != Client::Stage::Page) return;
  REQUIRE(client.request().size() <= 8192);
  const int before = pages;
  const std::string response = responder.answer(client.request());
  REQUIRE(response.empty() || response.starts_with("HTTP/1."));
  REQUIRE(pages <= before + 1);
  client.respond(response, now);
  peer.reset();
  for (int i = 0; i < 20 && client.stage() != Client::Stage::Gone; ++i) client.advance(now);
  REQUIRE(client.stage() == Client::Stage::Gone);
}
