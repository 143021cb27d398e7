// What a partner, or who pretends to be one, sends: a question, and a record.
#include "fuzz/play.h"
#include "host/network/nw_SignedExchange.h"
#include "peer/pl_PeerRecord.h"
#include "support/RawClient.h"
#include "util/fw_ShownText.h"

using namespace services;

namespace {

void playQuestion(const std::string& input) {
  constexpr std::uint16_t port = 4110;
  static const network::SignedListener listener({test::ownAddress()}, {port, std::string(40, 'k')},
                                                [] { return std::string("body"); });
  test::RawClient client(port);
  client.send(input);
  client.finish();
  const std::string reply = client.reply();
  REQUIRE(reply.find("LATE") == std::string::npos);
  const bool isQuestion = input.starts_with("MCPEER1 ") &&
                          input.find_first_not_of("0123456789abcdef", 8) == 40 && input[40] == '\n';
  // What is sent behind a question may cost its answer: what nobody reads resets the connection.
  const bool isAll = isQuestion && input.size() == 41;
  REQUIRE(reply.ends_with("body") ? isQuestion : !isAll);
}

}  // namespace

void play(const std::string& input) {
  std::string failure;
  const auto record = peer::recordOf(input, failure);
  REQUIRE(record || framework::isShown(failure));
  if (record) {
    const std::string text = peer::textOf(*record);
    const auto again = peer::recordOf(text, failure);
    REQUIRE(again && peer::textOf(*again) == text);
  }
  playQuestion(input);
}
