// The web service behind the real listeners: clients at once, changes of users, listeners to
// events, and a stop in the midst of them.
#include "support/Users.h"
#include "support/WebSetting.h"
#include "web/wb_WebService.h"

namespace services::web {
namespace {

constexpr const char* managers = "/redfish/v1/Managers";

class WebServed : public testing::Test, protected test::WebSetting {
 protected:
  WebServed() {
    serve();
    server->enableConnections(test::secure);
    service.emplace("WebService");
    service->Startup();
    events = std::thread([this] { service->threadDo(0); });
  }
  ~WebServed() override { stop(); }
  void stop() {
    if (!events.joinable()) return;
    service->Shutdown();
    events.join();
    server.reset();
    service.reset();
  }
  std::unique_ptr<test::TlsClient> client() {
    auto made = std::make_unique<test::TlsClient>(settings);
    made->set_basic_auth("adam", "first pass");
    return made;
  }

  const test::SysInfoSetting sysInfo{{}, {}};
  const test::Users users;
  std::optional<WebService> service;
  std::thread events;
};

TEST_F(WebServed, ClientsAtOnceAreAnsweredUntilItStops) {
  std::atomic<int> answered = 0;
  std::atomic<bool> isOver = false;
  std::vector<std::thread> clients;
  for (const char* path : {managers, "/redfish/v1/AccountService/Accounts?$expand=.", "/metrics"}) {
    clients.emplace_back([&, path] {
      const auto own = client();
      while (!isOver) {
        const auto result = own->Get(path);
        answered += result && result->status == 200 ? 1 : 0;
      }
    });
  }
  clients.emplace_back([&] {
    client()->Get("/redfish/v1/EventService/SSE", [&](const char*, std::size_t) {
      ++answered;
      return true;
    });
  });
  EXPECT_TRUE(test::eventually([&] { return log.has("listens to events") && answered > 50; }));
  const auto own = client();
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
    client()->Get("/redfish/v1/EventService/SSE", [](const char*, std::size_t) { return true; });
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
