// What the TLS listener needs before it can talk: the protocol's settings and the certificate.
#include "host/web/ht_TlsContext.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/base/fw_Entrance.h"
#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "host/machine/Descriptor.h"
#include "host/web/ht_Certificate.h"
#include "util/ut_OpenFile.h"

namespace services::http {

namespace {

using framework::Logger;
using framework::LogType;
using Context = std::shared_ptr<SSL_CTX>;

// A key with a passphrase is refused; nobody is asked for it.
int noPassphrase(char*, int, int, void*) { return 0; }

// Forward secrecy and authenticated encryption alone (RFC 9325, 4.2); those of TLS 1.3 are all so.
constexpr const char* ciphers = "ECDHE+AESGCM:ECDHE+CHACHA20";

Context newContext() {
  Context context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  if (context == nullptr || !SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) ||
      !SSL_CTX_set_cipher_list(context.get(), ciphers)) {
    return nullptr;
  }
  SSL_CTX_set_mode(context.get(),
                   SSL_MODE_RELEASE_BUFFERS);  // streams are idle for most of the time
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_TICKET);
  SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
  SSL_CTX_set_default_passwd_cb(context.get(), noPassphrase);
  return context;
}

// Why the library's calls since its errors were cleared failed: what went wrong first.
std::string reason() {
  const unsigned long error = ERR_get_error();
  if (ERR_SYSTEM_ERROR(error)) return std::strerror(ERR_GET_REASON(error));
  const char* text = ERR_reason_error_string(error);
  return text == nullptr ? "unusable" : text;
}

// Why a file cannot be read, empty when it can. The library would wait for the writer of a pipe.
std::string unreadable(const std::string& path) {
  const platform::Descriptor file(utility::openFile(path.c_str(), O_RDONLY, 0));
  struct stat status {};
  const bool isThere = file.isOpen() && ::fstat(file.get(), &status) == 0;
  if (!isThere) return path + ": " + std::strerror(errno);
  return S_ISREG(status.st_mode) ? "" : path + ": is no regular file";
}

// A context with the certificate of these files; null when they do not hold a pair.
Context contextOf(const std::string& certificate, const std::string& key, std::string& failure) {
  failure = unreadable(certificate);
  if (failure.empty()) failure = unreadable(key);
  if (!failure.empty()) return nullptr;
  ERR_clear_error();
  Context context = newContext();
  if (context == nullptr) {
    failure = reason();
  } else if (SSL_CTX_use_certificate_chain_file(context.get(),
                                                utility::Path::located(certificate).c_str()) != 1) {
    failure = certificate + ": " + reason();
  } else if (SSL_CTX_use_PrivateKey_file(context.get(), utility::Path::located(key).c_str(),
                                         SSL_FILETYPE_PEM) != 1 ||
             SSL_CTX_check_private_key(context.get()) != 1) {
    failure = key + ": " + reason();
  } else {
    return context;
  }
  return nullptr;
}

bool isFor(const Context& context, const std::string& address) {
  return X509_check_ip_asc(SSL_CTX_get0_certificate(context.get()), address.c_str(), 0) == 1;
}

std::string hostName() {
  std::array<char, 65> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return "localhost";
  return framework::isHostName(name.data()) ? name.data() : "localhost";
}

bool make(const std::string& path, const std::string& address, std::string& failure) {
  ERR_clear_error();
  const std::string text = makeCertificate(hostName(), address);
  if (text.empty()) {
    failure = "none could be made: " + reason();
    return false;
  }
  std::error_code exists;
  std::filesystem::create_directories(
      std::filesystem::path(utility::Path::located(path)).parent_path(), exists);
  if (utility::replaceFile(path.c_str(), text, S_IRUSR | S_IWUSR) == 0) return true;
  failure = path + ": " + std::strerror(errno);
  return false;
}

// False when it cannot be, which is added to `why`.
bool setAside(const std::string& path, std::string& why, const char* ending) {
  const std::string aside = path + ending;
  if (utility::Path::move(path.c_str(), aside.c_str()) != 0) {
    why += "; it cannot be set aside: " + std::string(std::strerror(errno));
    return false;
  }
  Logger::StaticLog(LogType::Warning, "web: %s; set aside as %s and made anew", why.c_str(),
                    aside.c_str());
  return true;
}

Context openOwn(const std::string& path, const std::string& address, std::string& failure) {
  if (utility::Path::exists(path.c_str())) {
    ::chmod(utility::Path::located(path).c_str(), S_IRUSR | S_IWUSR);
    Context kept = contextOf(path, path, failure);
    if (kept != nullptr && isFor(kept, address)) return kept;
    const platform::Descriptor file(utility::openFile(path.c_str(), O_RDONLY, 0));
    if (!file.isOpen()) return nullptr;  // what cannot be opened may be in order
    if (kept != nullptr) failure = path + ": is not for " + address;
    if (!setAside(path, failure, kept == nullptr ? ".damaged" : ".old")) return nullptr;
  }
  failure.clear();
  return make(path, address, failure) ? contextOf(path, path, failure) : nullptr;
}

}  // namespace

Context openTlsContext(const WebSettings& settings, std::string& failure) {
  if (!settings.certificate.empty()) {
    return contextOf(settings.certificate, settings.key, failure);
  }
  return openOwn(settings.directory + ownCertificate, settings.address, failure);
}

}  // namespace services::http
