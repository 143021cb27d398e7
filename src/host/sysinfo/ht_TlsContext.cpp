// What the TLS listener needs before it can talk: the protocol's settings and the certificate.
#include "host/sysinfo/ht_TlsContext.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/framework/fw_Entrance.h"
#include "host/framework/fw_Logger.h"
#include "host/framework/ut_DurableFile.h"
#include "host/framework/ut_Path.h"
#include "host/sysinfo/ht_Certificate.h"

namespace services::http {

namespace {

using framework::Logger;
using framework::LogType;
using Context = std::shared_ptr<SSL_CTX>;

// A key with a passphrase is refused; nobody is asked for it.
int noPassphrase(char*, int, int, void*) { return 0; }

Context newContext() {
  Context context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (context == nullptr || !SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION)) {
    return nullptr;
  }
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET);
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  SSL_CTX_set_default_passwd_cb(context.get(), noPassphrase);
  return context;
}

// A context with the certificate of these files; null when they do not hold a pair.
Context contextOf(const std::string& certificate, const std::string& key) {
  ERR_clear_error();
  Context context = newContext();
  if (context != nullptr &&
      SSL_CTX_use_certificate_chain_file(context.get(),
                                         utility::Path::located(certificate).c_str()) == 1 &&
      SSL_CTX_use_PrivateKey_file(context.get(), utility::Path::located(key).c_str(),
                                  SSL_FILETYPE_PEM) == 1 &&
      SSL_CTX_check_private_key(context.get()) == 1) {
    return context;
  }
  return nullptr;
}

// Why the last call of the library failed.
std::string failure() {
  const char* reason = ERR_reason_error_string(ERR_get_error());
  return reason == nullptr ? "unusable" : reason;
}

std::string hostName() {
  std::array<char, 65> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return "localhost";
  return framework::isHostName(name.data()) ? name.data() : "localhost";
}

bool make(const std::string& path, const std::string& address) {
  const std::string text = makeCertificate(hostName(), address);
  if (text.empty()) {
    Logger::StaticLog(LogType::Error, "web: no certificate could be made: %s", failure().c_str());
    return false;
  }
  std::error_code exists;
  std::filesystem::create_directories(
      std::filesystem::path(utility::Path::located(path)).parent_path(), exists);
  if (utility::replaceFile(path.c_str(), text, S_IRUSR | S_IWUSR) == 0) return true;
  Logger::StaticLog(LogType::Error, "web: %s: %s", path.c_str(), std::strerror(errno));
  return false;
}

Context openConfigured(const WebSettings& settings) {
  Context context = contextOf(settings.certificate, settings.key);
  if (context == nullptr) {
    Logger::StaticLog(LogType::Error, "web: certificate %s, key %s: %s",
                      settings.certificate.c_str(), settings.key.c_str(), failure().c_str());
  }
  return context;
}

Context openOwn(const std::string& path, const std::string& address) {
  if (utility::Path::exists(path.c_str())) {
    ::chmod(utility::Path::located(path).c_str(), S_IRUSR | S_IWUSR);
    if (Context kept = contextOf(path, path)) return kept;
    const std::string aside = path + ".damaged";
    Logger::StaticLog(LogType::Warning, "web: %s: %s; set aside as %s and made anew", path.c_str(),
                      failure().c_str(), aside.c_str());
    utility::Path::move(path.c_str(), aside.c_str());
  }
  return make(path, address) ? contextOf(path, path) : nullptr;
}

}  // namespace

std::shared_ptr<ssl_ctx_st> openTlsContext(const WebSettings& settings) {
  if (!settings.certificate.empty()) return openConfigured(settings);
  return openOwn(settings.directory + ownCertificate, settings.address);
}

}  // namespace services::http
