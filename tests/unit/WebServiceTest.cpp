// The web service behind the real listeners: clients at once, changes of users, listeners to
// events, and a stop in the midst of them.
#include <httplib.h>

#include "host/web/ht_HttpServer.h"
#include "support/RawClient.h"
#include "support/SysInfoSetting.h"
#include "support/Test.h"
#include "sysinfo/manager/us_UserManager.h"
#include "web/wb_WebService.h"

namespace services::web {
namespace {

constexpr const char* managers = "/redfish/v1/Managers";

class WebServed : public testing::Test {
 protected:
  WebServed() {
    ::signal(SIGPIPE, SIG_IGN);  // as the host does
    user::UserManager::getManager()->load({{{"user adam", "Interfaces"}, "Https"},
                                           {{"user adam", "Rights"}, "Administrator"},
                                           {{"user adam", "Password"}, "first pass"}});
    settings.address = test::ownAddress();
    settings.directory = files.path("etc/config/");
    server.emplace(settings, [] { return "page"; });
    server->enableConnections("SSLListener");
    service.emplace("WebService");
    service->Startup();
    events = std::thread([this] { service->threadDo(0); });
  }
  ~WebServed() override {
    stop();
    user::UserManager::getManager()->load({});
  }
  void stop() {
    if (!events.joinable()) return;
    service->Shutdown();
    events.join();
    server.reset();
    service.reset();
  }
  std::unique_ptr<httplib::SSLClient> client(const char* password) {
    auto made = std::make_unique<httplib::SSLClient>(settings.address, settings.sslPort);
    made->enable_server_certificate_verification(false);
    made->set_basic_auth("adam", password);
    made->set_keep_alive(true);
    return made;
  }

  test::Temporary files;
  test::SysInfoSetting sysInfo{{}, {}};
  test::LogCapture log;
  http::WebSettings settings;
  std::optional<http::HttpServer> server;
  std::optional<WebService> service;
  std::thread events;
};

TEST_F(WebServed, ClientsAtOnceAreAnsweredUntilItStops) {
  std::atomic<int> answered = 0;
  std::atomic<bool> isOver = false;
  std::vector<std::thread> clients;
  for (const char* path : {managers, "/redfish/v1/AccountService/Accounts?$expand=.", "/metrics"}) {
    clients.emplace_back([&, path] {
      const auto own = client("first pass");
      while (!isOver) {
        const auto result = own->Get(path);
        answered += result && result->status == 200 ? 1 : 0;
      }
    });
  }
  clients.emplace_back([&] {
    client("first pass")->Get("/redfish/v1/EventService/SSE", [&](const char*, std::size_t) {
      ++answered;
      return true;
    });
  });
  EXPECT_TRUE(test::eventually([&] { return log.has("listens to events") && answered > 50; }));
  const auto own = client("first pass");
  const auto made = own->Post("/redfish/v1/AccountService/Accounts",
                              R"({"UserName":"bob","Password":"long enough","RoleId":"ReadOnly"})",
                              "application/json");
  ASSERT_TRUE(made);
  EXPECT_EQ(made->status, 201);
  stop();
  isOver = true;
  for (auto& one : clients) one.join();
}

TEST_F(WebServed, AStreamEndsWithItsUsersRights) {
  std::atomic<bool> isOver = false;
  std::thread listener([&] {
    client("first pass")->Get("/redfish/v1/EventService/SSE", [](const char*, std::size_t) {
      return true;
    });
    isOver = true;
  });
  EXPECT_TRUE(test::eventually([&] { return log.has("listens to events"); }));
  EXPECT_EQ(user::UserManager::getManager()->changeUser("adam",
                                                        [](user::User& user) {
                                                          user.setRights(user::readOnly);
                                                          return std::string();
                                                        }),
            "");
  EXPECT_TRUE(test::eventually([&] { return isOver.load(); }));
  listener.join();
}

}  // namespace
}  // namespace services::web
