// A self-signed certificate for the TLS listener.
#pragma once

#include <string>

namespace services::http {

/// A new EC P-256 key and a certificate of it, as one PEM text with the key first. Its common name
/// is `host`; it is valid for that name, "localhost" and the IPv4 `address`, from 1970 to the end
/// of 9999 (RFC 5280, 4.1.2.5): a controller whose clock is not yet set has a valid one too. Empty
/// on failure.
std::string makeCertificate(const std::string& host, const std::string& address);

}  // namespace services::http
