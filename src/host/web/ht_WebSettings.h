// The table [web] of the configuration: where the web listeners are.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "host/network/nw_Room.h"
#include "host/service/fw_ServiceFactory.h"

namespace framework {
class Config;
}

namespace services::http {

/// What clients may take of a listener. Not configured.
struct WebLimits {
  std::chrono::milliseconds request{5000};   ///< for a client's request, TLS handshake included
  std::chrono::milliseconds response{5000};  ///< for taking the response
  std::chrono::milliseconds idle{60000};     ///< between a response and the next request
  std::chrono::milliseconds end{1000};       ///< for closing the connection first
  std::chrono::milliseconds drain{1000};     ///< for all of that when the server stops
  std::chrono::milliseconds retry{5000};     ///< until a listener that could not open tries again
  int setUpMilliseconds = 5;                 ///< for a connection just begun when a listener closes
  network::Bounds bounds = {};               ///< of a listener's clients
};

struct WebSettings {
  std::string address = "127.0.0.1";  ///< IPv4, of both listeners
  int port = 8080;                    ///< of the plain listener, 1 to 65535
  int sslPort = 8443;                 ///< of the TLS listener, 1 to 65535
  std::string certificate;  ///< path of a PEM file; empty: a self-signed one is made and kept
  std::string key;          ///< path of a PEM file; empty exactly when `certificate` is
  std::string directory;    ///< where a certificate of our own is kept
  WebLimits limits = {};
};

/// The settings of a checked configuration, defaults for what it does not give. A certificate of
/// our own is kept in etc/config/ below the configuration directory ($MC_CONFIG, else /cfg).
WebSettings webSettings(const framework::Config& config);

/// What is wrong with the table as a whole, each value being right by its own rule: the key and the
/// rule in one text, with the line.
std::optional<framework::PropertyFinding> webFault(const framework::Config& config);

}  // namespace services::http
