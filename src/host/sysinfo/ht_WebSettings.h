// The table [web] of the configuration: where the web listeners are.
#pragma once

#include <optional>
#include <string>

#include "host/framework/fw_ServiceFactory.h"

namespace framework {
class Config;
}

namespace services::http {

struct WebSettings {
  std::string address = "127.0.0.1";  ///< IPv4, of both listeners
  int port = 8080;                    ///< of the plain listener, 1 to 65535
  int sslPort = 8443;                 ///< of the TLS listener, 1 to 65535
  std::string certificate;  ///< path of a PEM file; empty: a self-signed one is made and kept
  std::string key;          ///< path of a PEM file; empty exactly when `certificate` is
  std::string directory;    ///< where a certificate of our own is kept
};

/// The settings of a checked configuration, defaults for what it does not give. A certificate of
/// our own is kept in etc/config/ below the configuration directory ($MC_CONFIG, else /cfg).
WebSettings webSettings(const framework::Config& config);

/// What is wrong with the table as a whole, each value being right by its own rule: the key and the
/// rule in one text, with the line.
std::optional<framework::PropertyFinding> webFault(const framework::Config& config);

}  // namespace services::http
