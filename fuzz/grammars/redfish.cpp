// Requests to the Redfish service, one after the other, by an administrator of a controller with
// daemons. Of each, the head stands before a zero byte and the body behind it.
#include <boost/json/parse.hpp>

#include "fuzz/play.h"
#include "host/web/ht_RequestParser.h"
#include "support/RedfishSetting.h"
#include "support/SimulatedController.h"
#include "sysinfo/manager/us_UserManager.h"
#include "web/wb_Messages.h"

using namespace services::web;
using services::http::Request;
using services::http::Response;
using services::http::Router;

namespace {

constexpr std::size_t mostRequests = 8;

Request requestOf(const std::string& head, const std::string& body) {
  services::http::RequestParser parser(0);
  parser.put(head + "\r\nHost: mc\r\n\r\n");
  if (!parser.isWhole()) return {};
  Request request = parser.take().request;
  request.body = body;
  request.user = "adam";
  request.granted = services::http::Access::Administer;
  request.secure = true;
  return request;
}

// What goes to a client: JSON where it says so, headers of one line, and never a fault of ours.
void check(const Response& response) {
  REQUIRE(response.status >= 200 && response.status < 600 && response.status != 500);
  for (const auto& [name, value] : response.headers) {
    REQUIRE(std::ranges::none_of(value, [](unsigned char c) { return c < ' ' || c == 0x7f; }));
  }
  const bool isJson = response.type.starts_with("application/json") && response.status != 304;
  boost::json::error_code error;
  if (isJson) boost::json::parse(response.body, error);
  REQUIRE(!error);
}

void ask(const Router& router, Request request) {
  const auto found = router.find(request.method, request.path);
  if (found.route == nullptr) return check(messageResponse("ResourceMissingAtURI", {request.path}));
  request.captured = found.captured;
  check(found.route->handler(request));
}

}  // namespace

void play(const std::string& input) {
  static test::SimulatedController controller({"web", "ftpd"}, 10);
  static const auto& manager = controller.build();
  static_cast<void>(manager);
  framework::Logger::setLevel(-1);
  const test::RedfishSetting setting;
  const auto texts = textsOf(input, 2 * mostRequests);
  for (std::size_t i = 0; i < texts.size() && !texts[i].empty(); i += 2) {
    ask(setting.router, requestOf(texts[i], texts[i + 1]));
  }
}
