// Events on their way to listeners: what waits, what is lost, what is kept, and a stop.
#include <httplib.h>

#include <boost/json/object.hpp>

#include "host/network/nw_ListeningSocket.h"
#include "support/RawClient.h"
#include "web/wb_Delivery.h"

namespace services::web {
namespace {

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
