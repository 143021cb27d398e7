// The table [web] of the configuration: its rules and its values.
#include "host/web/ht_WebSettings.h"

#include "host/base/fw_Entrance.h"
#include "host/base/ut_Environment.h"
#include "host/service/fw_Config.h"
#include "util/ut_IPV4Address.h"

namespace services::http {

using framework::PropertyType;

namespace {

constexpr const char* section = "web";
constexpr int lastPort = 65535;

bool isAddress(const char* value) { return utility::IPV4Address::parse(value).has_value(); }

constexpr framework::PropertyRule rules[] = {
    {.key = "address",
     .type = PropertyType::Text,
     .holds = isAddress,
     .rule = "must be an IPv4 address"},
    {.key = "port", .type = PropertyType::Integer, .minimum = 1, .maximum = lastPort},
    {.key = "sslPort", .type = PropertyType::Integer, .minimum = 1, .maximum = lastPort},
    {.key = "certificate",
     .type = PropertyType::Text,
     .holds = framework::isSafePath,
     .rule = framework::safePathRule},
    {.key = "key",
     .type = PropertyType::Text,
     .holds = framework::isSafePath,
     .rule = framework::safePathRule},
};

const framework::ServiceProperties properties(section, rules);

void take(const framework::Config& config, const char* key, std::string& out) {
  const char* value = nullptr;
  if (config.getStringValueOf(section, key, false, &value)) out = value;
}

}  // namespace

WebSettings webSettings(const framework::Config& config) {
  WebSettings settings;
  take(config, "address", settings.address);
  take(config, "certificate", settings.certificate);
  take(config, "key", settings.key);
  config.getIntValueOf(section, "port", false, &settings.port);
  config.getIntValueOf(section, "sslPort", false, &settings.sslPort);
  settings.directory = std::string(utility::Environment::configDirectory()) + "/etc/config/";
  return settings;
}

std::optional<framework::PropertyFinding> webFault(const framework::Config& config) {
  const auto* certificate = config.find("web.certificate");
  const auto* key = config.find("web.key");
  if ((certificate == nullptr) != (key == nullptr)) {
    return framework::PropertyFinding{true, "web: certificate and key must be given together",
                                      (key == nullptr ? certificate : key)->line};
  }
  const WebSettings settings = webSettings(config);
  if (settings.port != settings.sslPort) return std::nullopt;
  const auto* port = config.find("web.sslPort");
  if (port == nullptr) port = config.find("web.port");
  return framework::PropertyFinding{true, "web: port and sslPort must differ", port->line};
}

}  // namespace services::http
