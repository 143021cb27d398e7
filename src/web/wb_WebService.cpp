// The service that brings login, Redfish and metrics to the web listeners.
#include "web/wb_WebService.h"

#include <algorithm>
#include <iterator>

#include "host/base/fw_Guarded.h"
#include "host/base/ut_Environment.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "host/web/ht_HttpServer.h"
#include "util/ut_PutStream.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_Memory.h"
#include "web/wb_Messages.h"
#include "web/wb_Metrics.h"
#include "web/wb_Page.h"
#include "web/wb_Redfish.h"

namespace services::web {

using http::Access;
using http::Request;
using http::Response;

namespace {

constexpr const char* name = "WebService";
constexpr int defaultSessionSeconds = 1800;

constexpr framework::PropertyRule rules[] = {
    {.key = "openOnLoopback", .type = framework::PropertyType::Boolean},
    {.key = "sessionSeconds",
     .type = framework::PropertyType::Integer,
     .minimum = 30,
     .maximum = 86400},
    {.key = "eventRetryAttempts",
     .type = framework::PropertyType::Integer,
     .minimum = 1,
     .maximum = 100},
    {.key = "eventRetrySeconds",
     .type = framework::PropertyType::Integer,
     .minimum = 1,
     .maximum = 600},
};

const framework::ServiceProperties properties(name, rules);
framework::Service* BuildWebService(const char* instance) { return new WebService(instance); }
const framework::ServiceFactory pFactoryWebService(BuildWebService, name);

const framework::ServiceInfo info = {strings::token<"WebService">, strings::token<"WebService">,
                                     strings::token<"mcweb">};

// As the daemons' history, beside the logs; empty for no file.
std::string auditPath() {
  const char* directory = utility::Environment::GetEnv("MC_LOG_DIR");
  return directory == nullptr || *directory == '\0' ? "" : std::string(directory) + "/web.audit";
}

bool isRedfish(const Request& request) { return request.path.starts_with("/redfish"); }

Response text(int status, const std::string& line) {
  return {.status = status, .body = line + "\n"};
}

Response wait(const Request& request, std::int64_t seconds) {
  const std::string count = std::to_string(seconds);
  Response response = isRedfish(request)
                          ? messageResponse("ServiceTemporarilyUnavailable", {count})
                          : text(503, "too many wrong passwords; try again in " + count + " s");
  response.headers.emplace_back("Retry-After", count);
  return response;
}

Response unknown(const Request& request) {
  Response response = isRedfish(request)
                          ? messageResponse("NoValidSession")
                          : text(401, "please log in as a user with the interface Https");
  response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"mc\", charset=\"UTF-8\"");
  return response;
}

// A browser that knows a password sends it for foreign pages, too; those it names by Origin.
bool isForeign(const Request& request) {
  const std::string& origin = request.header("origin");
  return request.method != "GET" && !origin.empty() &&
         origin != "https://" + request.header("host");
}

std::optional<Response> identify(Login& login, Request& request) {
  if (isForeign(request)) return text(403, "another site's page may not do that");
  if (auto page = browserToPage(request)) return page;
  const Login::Answer answer = login.identify(request);
  if (answer.outcome == Login::Outcome::In) return std::nullopt;
  return answer.outcome == Login::Outcome::Wait ? wait(request, answer.seconds) : unknown(request);
}

Response plainPage(const Request& request) {
  if (auto page = browserToPage(request)) return *page;
  return http::HttpServer::getSingleton()->page();
}

Response refuse(const Request& request, int status, const std::string& line) {
  if (!isRedfish(request)) return text(status, line);
  if (status == 404) return messageResponse("ResourceMissingAtURI", {request.path});
  if (status == 405) return messageResponse("OperationNotAllowed");
  return request.secure ? messageResponse("InsufficientPrivilege")
                        : messageResponse("NeedsTls", {line});
}

}  // namespace

WebService::WebService(const char* instance) : ActiveService(instance), m_audit(auditPath()) {
  const auto* config = framework::Config::getConfig();
  int sessionSeconds = defaultSessionSeconds;
  config->getBoolValueOf(instance, "openOnLoopback", false, &m_openOnLoopback);
  config->getIntValueOf(instance, "sessionSeconds", false, &sessionSeconds);
  Retries retries;
  config->getIntValueOf(instance, "eventRetryAttempts", false, &retries.attempts);
  config->getIntValueOf(instance, "eventRetrySeconds", false, &retries.seconds);
  const auto* web = http::HttpServer::getSingleton();
  m_delivery = std::make_unique<Delivery>(
      web == nullptr ? "" : web->settings().directory + "subscriptions.json", retries);
  m_login = std::make_unique<Login>(m_audit, utility::TimeMeasure::getTimestamp, sessionSeconds);
  m_sources = std::make_unique<Sources>(Sources{
      m_audit, *m_login, m_lines, m_feed, utility::TimeMeasure::getTimestamp(), m_delivery.get()});
  setRequestedThreads(2);
}

http::Site WebService::site() {
  http::Site site;
  site.routes = redfishRoutes(*m_sources);
  for (auto& route : pageRoutes()) site.routes.push_back(std::move(route));
  site.routes.push_back({"GET", "/", Access::Read, plainPage, m_openOnLoopback});
  site.routes.push_back({"GET", "/metrics", Access::Read,
                         [this](const Request&) { return metricsPage(*m_sources); },
                         m_openOnLoopback});
  site.routes.push_back(
      {"GET", "/memory.csv", Access::Read, [](const Request&) { return memoryPage(); }});
  site.identify = [this](Request& request) { return identify(*m_login, request); };
  site.refuse = refuse;
  return site;
}

void WebService::Startup() {
  if (auto* web = http::HttpServer::getSingleton()) {
    web->setSite(std::make_shared<http::Site>(site()));
  }
}

void WebService::Shutdown() {
  m_feed.endUnless({});
  if (auto* web = http::HttpServer::getSingleton()) web->setSite(nullptr);
  m_feed.endUnless({});  // those that were opened meanwhile
  m_delivery->stop();
  ActiveService::Shutdown();
}

void WebService::lookForEvents(EventWatch& watch) {
  m_feed.endUnless([](const EventFeed::Listener& one) {
    return !one.stamp.empty() && Login::stampOf(one.user) == one.stamp;
  });
  auto happened = watch.look();
  std::ranges::move(m_delivery->takeNews(), std::back_inserter(happened));
  m_delivery->take(m_feed.tell(happened));
  m_feed.tellLines(watch.lines(), watch.manager());
}

void WebService::threadDo(int index) {
  if (index == 1) {
    framework::guarded(name, "delivery", [&] { m_delivery->run(); });
    return;
  }
  constexpr int beatSeconds = 15;
  EventWatch watch(*m_sources);
  for (int second = 0; !requestToShutdown(); ++second) {
    framework::guarded(name, "events", [&] { lookForEvents(watch); });
    if (second % beatSeconds == 0) m_feed.beat();
    m_waiter.lock();
    if (!requestToShutdown()) m_waiter.wait(1);
    m_waiter.unlock();
  }
}

const framework::ServiceInfo* WebService::serviceInfo() const { return &info; }

void WebService::information(utility::PutStream& stream, int indentation, bool /*detailed*/) const {
  stream.Indent(indentation);
  stream.PutF("sessions: %zu, refused: %llu\n", m_login->sessions().size(),
              static_cast<unsigned long long>(m_audit.refusals()));
}

}  // namespace services::web
