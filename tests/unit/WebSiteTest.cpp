// What a plug-in serves at the web listeners: its routes, who may, kept connections and streams.
#include "host/web/ht_RequestParser.h"
#include "host/web/ht_Site.h"
#include "host/web/ht_Stream.h"
#include "support/WebSetting.h"

namespace services::http {
namespace {

using test::plain;
using test::secure;
using Client = test::TlsClient;

Response saying(const std::string& text) { return {.body = text}; }

class WebSite : public testing::Test, protected test::WebSetting {
 protected:
  WebSite() {
    settings.limits.request = settings.limits.idle = std::chrono::hours(1);
    serve();
    server->setSite(std::make_shared<Site>(site()));
    server->enableConnections(plain);
    server->enableConnections(secure);
  }
  Site site() {
    const auto echo = [](const Request& request) {
      std::string text = request.user + "|";
      for (const auto& part : request.captured) text += part + ";";
      for (const auto& [key, value] : request.query) text += key + "=" + value + ";";
      return saying(text + request.body);
    };
    const auto open = [this](const Request&) {
      Response response{.type = "text/event-stream"};
      response.stream = std::make_shared<Stream>();
      streams.add(response.stream);
      return response;
    };
    return {.routes = {{"GET", "/open", Access::Anyone, echo},
                       {"GET", "/here", Access::Read, echo, true},
                       {"GET", "/read/{}/x", Access::Read, echo},
                       {"POST", "/read/{}/x", Access::Operate, echo},
                       {"GET", "/files/*", Access::Anyone, echo},
                       {"GET", "/stream", Access::Read, open},
                       {"GET", "/throws", Access::Anyone,
                        [](const Request&) -> Response { throw std::runtime_error("secret"); }}},
            .identify = [](Request& request) -> std::optional<Response> {
              request.user = request.header("x-user");
              if (request.user.empty()) return Response{.status = 401, .body = "who?"};
              request.granted = request.user == "operator" ? Access::Operate : Access::Read;
              return std::nullopt;
            },
            .refuse =
                [](const Request&, int status, const std::string& text) {
                  return Response{.status = status, .body = "[" + text + "]"};
                }};
  }

  std::string answerTo(const std::string& listener, const std::string& asked) const {
    std::istringstream words(asked);
    std::string method, target, user;
    words >> method >> target >> user;
    const httplib::Headers headers = {{"X-User", user}};
    if (listener == plain) {
      return test::RawClient(settings.port)
          .ask(method + " " + target + " HTTP/1.1\r\nHost: mc:8080\r\n" +
               (user.empty() ? "" : "X-User: " + user + "\r\n") + "\r\n");
    }
    Client own(settings);
    const auto result = method == "GET" ? own.Get(target, headers)
                                        : own.Post(target, headers, "body", "text/plain");
    return result ? "HTTP/1.1 " + std::to_string(result->status) + " " + result->body : "none";
  }

  test::Kept<std::shared_ptr<Stream>> streams;
};

const struct Asking {
  const char* listener;
  std::string request;  // method, target and user
  int status;
  std::string says;
} askings[] = {
    {plain, "GET /open?b=2&a=%201", 200, "|a= 1;b=2;"},
    {plain, "GET /open/", 200, "|"},
    {plain, "GET /read/%41b/x operator", 307, "Location: https://mc:8443/read/%41b/x\r\n"},
    {plain, "GET /here", 200, "|"},
    {plain, "GET /files/a/b", 200, "|a/b;"},
    {plain, "GET /none", 404, "[there is no such page]"},
    {plain, "PUT /read/a/x", 405, "Allow: GET, HEAD, POST\r\n"},
    {plain, "GET /throws", 500, "the log says why"},
    {plain, "GET /\x01", 400, "\r\n\r\n"},
    {plain, "GET /%00", 400, "\r\n\r\n"},
    {secure, "GET /read/%41b/x", 401, "who?"},
    {secure, "GET /read/%41b/x reader", 200, "reader|Ab;"},
    {secure, "POST /read/c/x reader", 403, "[this user may not do that]"},
    {secure, "POST /read/c/x operator", 200, "operator|c;body"},
    {secure, "GET /open reader", 200, "|"},
};

TEST_F(WebSite, WhoMayDecidesWhatIsAnswered) {
  for (const auto& [listener, request, status, says] : askings) {
    const std::string reply = answerTo(listener, request);
    EXPECT_EQ(reply.substr(9, 3), std::to_string(status)) << request;
    EXPECT_NE(reply.find(says), std::string::npos) << request << ": " << reply;
  }
  server->disableConnections(secure);
  const auto refused = test::RawClient(settings.port).ask("GET /read/a/x HTTP/1.1\r\n\r\n");
  EXPECT_NE(refused.find("HTTP/1.1 403"), std::string::npos) << refused;
  server->setSite(nullptr);
  EXPECT_TRUE(test::RawClient(settings.port).ask("GET / HTTP/1.1\r\n\r\n").ends_with("page"));
}

// Requests cut anywhere and sent together are the same requests.
TEST(RequestParser, TakesTheSameRequestsHoweverTheyAreCut) {
  const std::string all =
      "GET /a HTTP/1.1\r\n\r\n"
      "POST /b HTTP/1.1\r\nContent-Length: 3\r\n\r\nxyz"
      "POST /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nuv\r\n0\r\n\r\n"
      "HEAD /d HTTP/1.1\r\nConnection: close\r\n\r\n";
  std::minstd_rand random(1);
  for (int round = 0; round < 200; ++round) {
    RequestParser parser(65536);
    std::string seen;
    for (std::size_t at = 0; at < all.size();) {
      const std::size_t part = 1 + random() % (round < 100 ? 3 : 200);
      parser.put(all.substr(at, part));
      at += part;
      while (parser.isWhole()) {
        const Asked asked = parser.take();
        seen += asked.request.method + asked.request.path + "=" + asked.request.body +
                (asked.isHead ? "h" : "") + (asked.isLast ? "." : ",") +
                std::to_string(asked.fault) + " ";
      }
    }
    ASSERT_EQ(seen, "GET/a=,0 POST/b=xyz,0 POST/c=uv,0 GET/d=h.0 ") << round;
    EXPECT_FALSE(parser.isBegun());
  }
  const std::pair<std::string, int> faults[] = {
      {"POST / HTTP/1.1\r\nContent-Length: 70000\r\n\r\n", 413},
      {"POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n", 400},
      {"POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n", 400},
      {"POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nz\r\n", 400},
      {"GET / HTTP/1.1\r\nX:" + std::string(9000, 'x'), 431},
      {"GET http://[/ HTTP/1.1\r\n\r\n", 400},
  };
  for (const auto& [bytes, fault] : faults) {
    RequestParser parser(65536);
    parser.put(bytes);
    ASSERT_TRUE(parser.isWhole()) << bytes;
    const Asked asked = parser.take();
    EXPECT_EQ(asked.fault, fault) << bytes;
    EXPECT_TRUE(asked.isLast);
  }
}

TEST_F(WebSite, ConnectionsAreKeptAfterALogin) {
  Client own(settings);
  int connections = 0;
  own.set_socket_options([&](auto) { ++connections; });
  const httplib::Headers reader = {{"X-User", "reader"}};
  const std::string body(60000, 'b');
  for (int i = 0; i < 5; ++i) {
    const auto result = own.Post("/read/a/x", {{"X-User", "operator"}}, body, "text/plain");
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->body.ends_with(body));
    ASSERT_TRUE(own.Get("/read/a/x", reader));
  }
  EXPECT_EQ(connections, 1);
  for (int i = 0; i < 2; ++i) ASSERT_TRUE(own.Get("/open"));
  EXPECT_EQ(connections, 2) << "strangers get one request for each";
  ASSERT_TRUE(own.Get("/read/a/x", reader));
  server->disableConnections(secure);  // waits for nobody who is between two requests
  server->enableConnections(secure);
  // One that was just then on its way is asked again, as any client does.
  EXPECT_TRUE(own.Get("/read/a/x", reader) || own.Get("/read/a/x", reader));
}

TEST_F(WebSite, StreamsGoOnUntilEitherEndsThem) {
  const httplib::Headers reader = {{"X-User", "reader"}};
  for (const char* how : {"service", "client", "listener", "slow"}) {
    SCOPED_TRACE(how);
    const std::size_t before = streams.all().size();
    std::atomic<bool> leaves = false, holds = true;
    std::string got;
    std::thread asker([&] {
      Client own(settings);
      own.Get("/stream", reader, [&](const char* data, std::size_t size) {
        got.append(data, size);
        while (how == std::string("slow") && holds) std::this_thread::yield();
        return !leaves;
      });
    });
    ASSERT_TRUE(test::eventually([&] { return streams.all().size() > before; }));
    const auto mine = streams.all().back();
    if (how == std::string("slow")) {
      const std::string much(Stream::most, 'x');
      EXPECT_TRUE(test::eventually([&] { return !mine->push(much) && mine->isOver(); }));
      EXPECT_TRUE(test::eventually([&] { return log.has("its reader was too slow"); }));
    } else {
      for (int i = 0; i < 100; ++i) EXPECT_TRUE(mine->push("line\n"));
      if (how == std::string("client")) leaves = true;
      if (how == std::string("service")) mine->end();
      if (how == std::string("listener")) server->disableConnections(secure);
    }
    EXPECT_TRUE(test::eventually([&] { return !mine->push("x") && mine->isOver(); }));
    holds = false;
    asker.join();
    EXPECT_TRUE(how != std::string("service") || got.size() == 500) << got.size();
    server->enableConnections(secure);
  }
}

}  // namespace
}  // namespace services::http
