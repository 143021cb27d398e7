// The web service behind the real listeners: clients at once, changes of users, listeners to
// events, a stop in the midst of them; and events on their way to subscribers.
#include <boost/json/object.hpp>

#include "host/network/nw_ListeningSocket.h"
#include "support/Users.h"
#include "support/WebSetting.h"
#include "web/wb_Delivery.h"
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

Subscription subscriptionTo(int port) {
  return {.destination = "http://" + test::ownAddress() + ":" + std::to_string(port) + "/",
          .headers = {{"X-Secret", "hush"}}};
}

TEST(WebDelivery, WhatFindsNoRoomIsCountedAndTold) {
  ::signal(SIGPIPE, SIG_IGN);  // as the host does
  httplib::Server server;
  std::mutex mutex;
  std::vector<std::string> got;
  server.Post("/", [&](const httplib::Request& request, httplib::Response&) {
    const std::lock_guard lock(mutex);
    got.push_back(request.body);
  });
  Subscription wanted = subscriptionTo(server.bind_to_any_port(test::ownAddress()));
  std::thread listener([&] { server.listen_after_bind(); });
  Delivery delivery("", {});
  ASSERT_EQ(delivery.add(wanted), "");
  constexpr std::size_t more = 44;
  for (std::size_t i = 0; i < Delivery::mostWaiting + more; ++i) {
    delivery.take({toldOf({"TestEvent", {std::to_string(i)}, "/"}, std::to_string(i))});
  }
  EXPECT_EQ(delivery.views()[0].dropped, more);
  std::thread sender([&] { delivery.run(); });
  EXPECT_TRUE(
      test::eventually([&] { return delivery.views()[0].delivered == Delivery::mostWaiting + 1; }));
  delivery.stop();
  sender.join();
  server.stop();
  listener.join();
  EXPECT_NE(got[0].find("This is a test: 44."), std::string::npos);
  EXPECT_NE(got[1].find("44 events found no room"), std::string::npos);
  EXPECT_NE(got.back().find("This is a test: 299."), std::string::npos);
}

TEST(WebDelivery, AStopWaitsForNoListener) {
  const auto silent = network::listenAt(test::ownAddress(), 9100);
  Subscription wanted = subscriptionTo(9100);
  Delivery delivery("", {});
  ASSERT_EQ(delivery.add(wanted), "");
  delivery.take({toldOf({"TestEvent", {"x"}, "/"}, "1")});
  std::thread sender([&] { delivery.run(); });
  EXPECT_TRUE(test::eventually([&] { return network::comesYet(silent.get(), 100); }));
  delivery.stop();
  sender.join();  // the test's own limit is shorter than that of many exchanges
}

TEST(WebDelivery, SubscriptionsOutliveTheHostAndDamage) {
  const test::Temporary files;
  const std::string path = files.path("subscriptions.json");
  Subscription wanted = subscriptionTo(9);
  ASSERT_EQ(Delivery(path, {}).add(wanted), "");
  const auto kept = Delivery(path, {}).views();
  ASSERT_EQ(kept.size(), 1U);
  EXPECT_EQ(kept[0].what.headers, wanted.headers);
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
  std::filesystem::resize_file(path, 40);
  EXPECT_TRUE(Delivery(path, {}).views().empty());
  EXPECT_TRUE(std::filesystem::exists(path + ".damaged"));
}

}  // namespace
}  // namespace services::web
