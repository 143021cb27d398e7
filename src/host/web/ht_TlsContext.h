// What the TLS listener needs before it can talk: the protocol's settings and the certificate.
#pragma once

#include <memory>

#include "host/web/ht_WebSettings.h"

struct ssl_ctx_st;

namespace services::http {

/// The file under `directory` that keeps a certificate of our own, and its key.
inline constexpr const char* ownCertificate = "web.pem";

/// The one beside it that an administrator gave, which goes before it.
inline constexpr const char* givenCertificate = "web-given.pem";

/// A context for TLS 1.2 and later, with the configured certificate, else one of our own, as the
/// files are now. Our own is made when it is missing, for its owner alone; a damaged one is set
/// aside as web.pem.damaged (and web-given.pem likewise), one for another address than ours as
/// web.pem.old, with a warning, and made anew. Null when there is no usable one: `failure` then
/// says why, in one line.
std::shared_ptr<ssl_ctx_st> openTlsContext(const WebSettings& settings, std::string& failure);

/// The certificate of a context with its chain, as PEM text without the key.
std::string certificateOf(ssl_ctx_st* context);

/// Keeps this PEM text, a certificate with its chain and its key, as the one that is given. The
/// answer says why it is not; empty when it is. Nothing is changed then.
std::string giveCertificate(const WebSettings& settings, const std::string& pem);

}  // namespace services::http
