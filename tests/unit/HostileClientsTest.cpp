// Clients that take and give nothing, at the web listeners and at the partner link: others are
// served all the same.
#include "host/network/nw_SignedExchange.h"
#include "support/WebSetting.h"

namespace services {
namespace {

using network::Bounds;
using network::Progress;
using std::chrono::hours;
using std::chrono::milliseconds;

constexpr int linkPort = 4110;
constexpr Bounds fewClients = {.perAddress = 4, .all = 8};
constexpr std::size_t largePage = 6 << 20;  // more than the kernel takes for who never reads

// The three listeners, whose page and answer one function asks for.
struct Served {
  explicit Served(milliseconds question)
      : settings([&] {
          http::WebSettings own;
          own.address = test::ownAddress();
          own.directory = files.path("");
          own.limits = {.request = question,
                        .response = hours(1),
                        .end = hours(1),
                        .drain = milliseconds(10),
                        .bounds = fewClients};
          return own;
        }()),
        web(settings, [this] { return std::string(pageSize, 'x'); }),
        link({settings.address}, exchange, [] { return std::string("record"); },
             {.question = question, .bounds = fewClients}) {
    web.enableConnections("StandardListener");
    web.enableConnections("SSLListener");
  }
  bool isServed(int port) const {
    std::string failure;
    const auto is = [this](const std::string& page) {
      return page.ends_with("x" + std::string(pageSize - 1, 'x'));
    };
    if (port == settings.port) return is(test::RawClient(port).ask("GET / HTTP/1.1\r\n\r\n"));
    if (port == settings.sslPort) return is(test::TlsClient(settings).Get("/")->body);
    return network::askSigned(settings.address.c_str(), exchange, 10000, failure) == "record";
  }

  std::atomic<std::size_t> pageSize = 100;
  const test::Temporary files;
  const network::ExchangeSettings exchange = {linkPort, std::string(40, 'k')};
  const http::WebSettings settings;
  http::HttpServer web;
  const network::SignedListener link;
};

struct Hostile {
  const char* name;
  int port;
  std::string says;
};
const http::WebSettings defaults;
const Hostile hostiles[] = {
    {"silent", defaults.port, ""},
    {"silent", defaults.sslPort, ""},
    {"silent", linkPort, ""},
    {"half a request", defaults.port, "GET / HTTP/1.1\r\nHost:"},
    {"half a handshake", defaults.sslPort, "\x16\x03\x01\x02"},
    {"half a question", linkPort, "MCPEER1 0123456789abcdef"},
    {"no line end", linkPort, std::string(200, 'x')},
    {"never reads", defaults.port, "GET / HTTP/1.1\r\n\r\n"},
    {"never reads", linkPort, "MCPEER1 0123456789abcdef0123456789abcdef\n"},
};

// No time ends them: they make room, and hold no stop.
TEST(HostileClients, KeepNobodyOutAndHoldNoStop) {
  std::list<test::RawClient> clients;
  Served served{hours(1)};
  for (const Hostile& hostile : hostiles) {
    served.pageSize = hostile.says.ends_with("\r\n\r\n") ? largePage : 100;
    auto& first = clients.emplace_back(hostile.port);
    first.send(hostile.says);
    for (int i = 1; i < 10; ++i) clients.emplace_back(hostile.port).send(hostile.says);
    EXPECT_TRUE(served.isServed(hostile.port)) << hostile.name << " at " << hostile.port;
    EXPECT_FALSE(first.reply().ends_with(" LATE")) << hostile.name;
  }
}

TEST(HostileClients, AreGoneWhenTheirTimeIsUp) {
  const Served served{milliseconds(50)};
  for (const Hostile& hostile : hostiles) {
    if (std::string(hostile.name) == "never reads") continue;
    EXPECT_FALSE(test::RawClient(hostile.port).ask(hostile.says).ends_with(" LATE"))
        << hostile.name << " at " << hostile.port;
  }
}

TEST(Room, IsMadeByTheOldestThatAsksAtTheFullestAddress) {
  constexpr auto asks = Progress::Asking, waits = Progress::Waiting, reads = Progress::Answered;
  const Bounds bounds = {.perAddress = 3, .all = 5};
  const struct {
    const char* name;
    std::vector<network::Occupant> occupants;
    std::optional<std::size_t> leaves;  // for one from address 1
  } rows[] = {
      {"room", {{1, asks}, {1, asks}, {2, asks}, {2, asks}}, std::nullopt},
      {"its address is full", {{2, asks}, {1, reads}, {1, asks}, {1, asks}}, 2},
      {"with answered ones", {{2, asks}, {1, waits}, {1, reads}, {1, reads}}, 2},
      {"with ones that wait", {{2, asks}, {1, waits}, {1, waits}, {1, waits}}, std::nullopt},
      {"all is full", {{1, asks}, {3, asks}, {2, asks}, {2, asks}, {1, waits}}, 2},
      {"and all wait", std::vector<network::Occupant>(5, {2, waits}), std::nullopt},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(network::whoMakesRoom(row.occupants, 1, bounds), row.leaves) << row.name;
  }
}

}  // namespace
}  // namespace services
