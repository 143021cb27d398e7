// What the TLS listener needs before it can talk: the protocol's settings and the certificate.
#pragma once

#include <memory>

#include "host/web/ht_WebSettings.h"

struct ssl_ctx_st;

namespace services::http {

/// The file under `directory` that keeps a certificate of our own, and its key.
inline constexpr const char* ownCertificate = "web.pem";

/// A context for TLS 1.2 and later, with the configured certificate, else one of our own, as the
/// files are now. Our own is made when it is missing, for its owner alone; a damaged one is set
/// aside as web.pem.damaged, one for another address than ours as web.pem.old, with a warning, and
/// made anew. Null when there is no usable one: `failure` then says why, in one line.
std::shared_ptr<ssl_ctx_st> openTlsContext(const WebSettings& settings, std::string& failure);

}  // namespace services::http
