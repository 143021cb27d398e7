// The web listeners with real clients: switching, draining, TLS; what a plug-in serves there: its
// routes, who may, kept connections and streams; and clients that take and give nothing, there and
// at the partner link: others are served all the same.
#include <openssl/conf.h>

#include "host/network/nw_SignedExchange.h"
#include "host/service/fw_ConfigFile.h"
#include "host/web/ht_Client.h"
#include "host/web/ht_RequestParser.h"
#include "host/web/ht_Site.h"
#include "host/web/ht_Stream.h"
#include "host/web/ht_TlsContext.h"
#include "support/WebSetting.h"

namespace services::http {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using test::plain;
using test::secure;
using Client = test::RawClient;

constexpr const char* get = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";

// The library's own settings of the machine forbid old protocols; ours must do so without them.
const bool anyProtocol = [] {
  const test::Temporary files;
  files.write("openssl.cnf",
              "openssl_conf = init\n[init]\nssl_conf = ssl\n[ssl]\nsystem_default = any\n"
              "[any]\nMinProtocol = TLSv1\nCipherString = DEFAULT@SECLEVEL=0\n");
  return CONF_modules_load_file(files.path("openssl.cnf").c_str(), nullptr, 0) == 1;
}();

bool isGood(const std::string& reply) {
  return reply.starts_with("HTTP/1.1 200") && reply.ends_with("\r\n\r\npage");
}

class WebServing : public testing::Test, protected test::WebSetting {
 protected:
  WebServing() {
    settings.limits.request = settings.limits.response = hours(1);
    settings.limits.retry = milliseconds(10);
  }
  int portOf(const char* listener) const {
    return listener == plain ? settings.port : settings.sslPort;
  }
  // What a TLS client of at most this version gets, verifying against this certificate if any.
  std::string askSecurely(int version, const std::string& certificate = "") const {
    test::TlsClient client(settings);
    SSL_CTX_set_max_proto_version(client.ssl_context(), version);
    client.enable_server_certificate_verification(!certificate.empty());
    if (!certificate.empty()) client.set_ca_cert_path(certificate);
    const auto result = client.Get("/");
    return result ? result->body : httplib::to_string(result.error());
  }
};

TEST_F(WebServing, RequestsAreAnsweredOrRefused) {
  std::atomic<const char*> page = "page";
  serve([&]() -> std::string {
    return page != nullptr ? page.load() : throw std::runtime_error("secret");
  });
  server->enableConnections(plain);
  std::string manyRanges = "GET / HTTP/1.1\r\nRange: bytes=0-";
  while (manyRanges.size() < 8000) manyRanges += ",0-";
  const std::string body(100000, 'b');
  const struct {
    std::string request;
    std::string status;
    std::string end;
    const char* page = "page";
  } rows[] = {
      {get, "200", "\r\n\r\npage"},
      {"HEAD / HTTP/1.1\r\n\r\n", "200", "\r\n\r\n"},
      {"GET /x HTTP/1.1\r\n\r\n", "404", "there is no such page\n"},
      {"PUT / HTTP/1.1\r\nContent-Length: 100000\r\n\r\n" + body, "405",
       "this page takes GET, HEAD only\n"},
      {"\r\n\r\n", "400", "\r\n\r\n"},
      {std::string(get) + get, "200", "\r\n\r\npage"},
      {manyRanges + "\r\n\r\n", "200", "\r\n\r\npage"},
      {"GET / HTTP/1.1\r\nX: " + body + "\r\n\r\n", "431", "\r\n\r\n"},
      {"GET /" + body + " HTTP/1.1\r\n\r\n", "431", "\r\n\r\n"},
      {get, "503", "", ""},
      {get, "500", "", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.request.substr(0, 40) + row.status);
    page = row.page;
    const std::string reply = Client(settings.port).ask(row.request);
    EXPECT_EQ(reply.substr(0, 12), "HTTP/1.1 " + row.status);
    EXPECT_TRUE(reply.ends_with(row.end)) << reply;
    EXPECT_EQ(reply.find("HTTP/1.1 ", 1), std::string::npos) << reply;
    EXPECT_EQ(reply.find("secret"), std::string::npos);
  }
  EXPECT_TRUE(log.has("web: page ended by an exception: secret"));
}

TEST_F(WebServing, SwitchedListenersOpenAndClosePorts) {
  EXPECT_EQ(HttpServer::getSingleton(), nullptr);
  serve();
  EXPECT_EQ(HttpServer::getSingleton(), &*server);
  for (const char* listener : {plain, secure}) {
    EXPECT_FALSE(server->isEnabledConnections(listener));
    EXPECT_TRUE(Client(portOf(listener)).refused());
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(server->enableConnections(listener));
    EXPECT_TRUE(server->isEnabledConnections(listener));
    EXPECT_TRUE(Client(portOf(listener)).connected());
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(server->disableConnections(listener));
    EXPECT_FALSE(server->isEnabledConnections(listener));
    EXPECT_TRUE(Client(portOf(listener)).refused());
  }
  EXPECT_FALSE(server->enableConnections("Listener"));
  EXPECT_FALSE(server->disableConnections("Listener"));
  EXPECT_EQ(log.count("web: no listener is named Listener"), 2);

  settings.sslPort = settings.port;  // somebody else's, for now
  HttpServer other(settings, [] { return "other"; });
  EXPECT_TRUE(server->enableConnections(plain));
  EXPECT_FALSE(other.enableConnections(secure));
  EXPECT_TRUE(log.has("cannot listen at " + settings.address + ":8080: Address already in use"));
  EXPECT_TRUE(isGood(Client(settings.port).ask(get)));
  server->disableConnections(plain);
  EXPECT_TRUE(test::eventually([&] { return other.isEnabledConnections(secure); }));
  EXPECT_TRUE(other.disableConnections(secure));

  settings.address = "192.0.2.1";  // nobody's (RFC 5737)
  serve();
  EXPECT_TRUE(server->enableConnections(plain));
  EXPECT_TRUE(log.has("listens at 192.0.2.1:8080, which is not here yet"));
}

// The page waits for a lock that the switching thread holds, as a report does for a guard. More
// clients than threads: some wait for one, and some in the kernel.
TEST_F(WebServing, RequestsOutliveSwitches) {
  for (const auto& [byItself, again, count] :
       {std::tuple{false, false, 150}, {false, true, 1}, {true, false, 1}, {true, true, 1}}) {
    SCOPED_TRACE(testing::Message() << "by itself: " << byItself << ", again: " << again);
    std::mutex guard;
    std::promise<void> started;
    std::atomic<int> pages = 0;
    const auto toggle = [&, again = again] {
      EXPECT_TRUE(server->disableConnections(plain));
      EXPECT_TRUE(Client(settings.port).refused());
      EXPECT_TRUE(!again || server->enableConnections(plain));
    };
    serve([&, byItself = byItself, again = again] {
      const bool isFirst = pages++ == 0;
      if (isFirst && byItself) toggle();
      if (isFirst) started.set_value();
      if (isFirst || !again) const std::lock_guard lock(guard);
      return "page";
    });
    server->enableConnections(plain);
    std::unique_lock lock(guard);
    std::list<Client> clients;
    for (int i = 0; i < count; ++i) clients.emplace_back(settings.port).send(get);
    started.get_future().wait();
    if (!byItself) toggle();
    EXPECT_TRUE(!again || isGood(Client(settings.port).ask(get)));
    lock.unlock();
    for (; !clients.empty(); clients.pop_front()) EXPECT_TRUE(isGood(clients.front().reply()));
  }
}

TEST_F(WebServing, OnlyCurrentTlsIsSpoken) {
  ASSERT_TRUE(anyProtocol);
  serve();
  ASSERT_TRUE(server->enableConnections(secure));
  EXPECT_EQ(askSecurely(TLS1_1_VERSION), "SSLConnection");
  EXPECT_EQ(askSecurely(TLS1_2_VERSION), "page");
  EXPECT_EQ(askSecurely(TLS1_3_VERSION), "page");
  EXPECT_EQ(Client(settings.sslPort).ask(get).find("HTTP"), std::string::npos);
}

TEST_F(WebServing, OwnCertificateIsMadeOnceAndKept) {
  const std::string path = settings.directory + ownCertificate;
  const auto serves = [&] {
    serve();
    return server->enableConnections(secure) && askSecurely(0, path) == "page";
  };
  EXPECT_TRUE(serves());
  const std::string first = files.read("etc/config/web.pem");
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
  EXPECT_TRUE(serves());
  EXPECT_EQ(files.read("etc/config/web.pem"), first);

  files.write("etc/config/web.pem", first.substr(0, first.size() / 2));  // the key alone
  EXPECT_TRUE(serves());
  EXPECT_TRUE(log.has(path + ".damaged and made anew"));
  EXPECT_TRUE(first.starts_with(files.read("etc/config/web.pem.damaged")));
  EXPECT_NE(files.read("etc/config/web.pem"), first);

  settings.address = "127.0.0.1";  // the kept one has another
  EXPECT_TRUE(serves());
  EXPECT_TRUE(log.has(path + ": is not for 127.0.0.1; set aside as " + path + ".old"));
  EXPECT_TRUE(files.has("etc/config/web.pem.old"));
}

TEST_F(WebServing, GivenCertificateIsReadAtEachOpening) {
  const auto made = [this] {
    files.write("etc/config/web.pem", "");
    serve();
    EXPECT_TRUE(server->enableConnections(secure));
    return files.read("etc/config/web.pem");
  };
  std::filesystem::create_directories(settings.directory);
  const std::string first = made();
  const std::string second = made();
  settings.certificate = settings.key = files.path("given.pem");
  serve();
  EXPECT_FALSE(server->enableConnections(secure));
  EXPECT_TRUE(server->enableConnections(plain));
  EXPECT_TRUE(log.has("web: SSLListener has no certificate: " + settings.key + ": No such file"));
  ASSERT_EQ(::mkfifo(settings.key.c_str(), 0600), 0);  // nobody writes into it
  EXPECT_FALSE(server->enableConnections(secure));
  EXPECT_TRUE(log.has(settings.key + ": is no regular file"));
  ASSERT_EQ(::unlink(settings.key.c_str()), 0);
  files.write("given.pem", first);
  EXPECT_TRUE(test::eventually([&] { return server->isEnabledConnections(secure); }));
  EXPECT_EQ(askSecurely(0, settings.certificate), "page");

  files.write("given.pem", second);  // renewed
  server->disableConnections(secure);
  EXPECT_TRUE(server->enableConnections(secure));
  EXPECT_EQ(askSecurely(0, settings.certificate), "page");

  files.write("other.pem", first);
  settings.key = files.path("other.pem");
  serve();
  EXPECT_FALSE(server->enableConnections(secure));
  EXPECT_TRUE(log.has(settings.key + ": key values mismatch"));
}

TEST_F(WebServing, SwitchesUnderLoadLoseNobodyAndLeakNothing) {
  std::thread([] {}).join();  // a sanitizer has a thread of its own from the first one on
  const auto threads = test::countOf("/proc/self/task");
  serve();
  const auto descriptors = test::countOf("/proc/self/fd");
  server->enableConnections(plain);
  std::atomic<bool> done = false;
  std::atomic<int> served = 0;
  std::atomic<int> lost = 0;
  std::list<std::future<void>> clients;
  for (int i = 0; i < 4; ++i) {
    clients.push_back(std::async(std::launch::async, [&] {
      while (!done) {
        Client client(settings.port, {.tv_sec = 0, .tv_usec = 4000});
        if (client.connected()) ++(isGood(client.ask(get)) ? served : lost);
      }
    }));
  }
  for (int i = 0; i < 300; ++i) {
    const int before = served;
    ASSERT_TRUE(server->enableConnections(plain));
    if (i % 10 == 0) test::eventually([&] { return served > before; });
    ASSERT_TRUE(server->disableConnections(plain));
  }
  done = true;
  clients.clear();
  EXPECT_EQ(lost, 0);
  EXPECT_GE(served, 30);
  EXPECT_TRUE(test::eventually([&] { return test::countOf("/proc/self/fd") == descriptors; }));
  server.reset();
  EXPECT_TRUE(test::eventually([&] { return test::countOf("/proc/self/task") <= threads; }));
}

TEST_F(WebServing, FaultsOfTheTableAreFoundWithTheirLine) {
  const std::pair<const char*, const char*> rows[] = {
      {"certificate = '/c'\nkey = '/k'", ""},
      {"port = 1\nkey = '/k'", "5: web: certificate and key must be given together"},
      {"port = 1\nsslPort = 1", "5: web: port and sslPort must differ"},
      {"port = 8443", "4: web: port and sslPort must differ"},
  };
  for (const auto& [table, fault] : rows) {
    files.write("mc.toml", std::string("[host]\nslot = 'A'\n[web]\n") + table);
    const auto own = webFault(framework::ConfigFile(files.path("mc.toml")).config());
    EXPECT_EQ(own ? std::to_string(own->line) + ": " + own->text : "", fault) << table;
  }
}

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
    test::TlsClient own(settings);
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
// Byte by byte; however else they are cut is in fuzz/.
TEST(RequestParser, TakesWholeRequestsOrNamesTheFault) {
  RequestParser several(65536);
  std::string seen;
  for (const char byte :
       std::string("GET /a HTTP/1.1\r\n\r\n"
                   "POST /b HTTP/1.1\r\nContent-Length: 3\r\n\r\nxyz"
                   "POST /c HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nuv\r\n0\r\n\r\n"
                   "HEAD /d HTTP/1.1\r\nConnection: close\r\n\r\n")) {
    several.put({&byte, 1});
    if (!several.isWhole()) continue;
    const auto [request, fault, isHead, isLast] = several.take();
    seen += request.method + request.path + "=" + request.body + (isHead ? "h" : "") +
            (isLast ? "." : ",") + std::to_string(fault) + " ";
  }
  EXPECT_EQ(seen, "GET/a=,0 POST/b=xyz,0 POST/c=uv,0 GET/d=h.0 ");
  EXPECT_FALSE(several.isBegun());
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
  test::TlsClient own(settings);
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

// Its socket is full, so that no event of it would say so.
TEST(WebClient, IsLateOnceItsStreamFindsNoRoom) {
  const auto now = http::Client::Clock::now();
  const WebLimits limits;
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
  const platform::Descriptor peer(ends[1]);
  http::Client client({platform::Descriptor(ends[0])}, nullptr, limits, now);
  ::send(peer.get(), get, std::strlen(get), 0);
  client.advance(now);
  const auto stream = std::make_shared<Stream>();
  client.respond(
      {.text = "head", .stream = stream}, [] {}, now);
  client.advance(now);
  while (stream->push(std::string(Stream::most, 'x'))) client.advance(now);
  EXPECT_LE(client.deadline(), now);
}

TEST_F(WebSite, StreamsGoOnUntilEitherEndsThem) {
  const httplib::Headers reader = {{"X-User", "reader"}};
  for (const char* how : {"service", "client", "listener", "slow"}) {
    SCOPED_TRACE(how);
    const std::size_t before = streams.all().size();
    std::atomic<bool> leaves = false, holds = true;
    std::string got;
    std::thread asker([&] {
      test::TlsClient own(settings);
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
      EXPECT_TRUE(Stream().push(much)) << "full to the byte";
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
