// What the TLS listener needs before it can talk: the protocol's settings and the certificate.
#include "host/web/ht_TlsContext.h"

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

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

// A damaged one gives way to our own, so that there is a way in.
Context openGiven(const std::string& path) {
  std::string failure;
  if (!utility::Path::exists(path.c_str())) return nullptr;
  Context given = contextOf(path, path, failure);
  if (given == nullptr) setAside(path, failure, ".damaged");
  return given;
}

std::string faultOf(const Context& context) {
  const X509* certificate = SSL_CTX_get0_certificate(context.get());
  if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0) return "it is expired";
  return "";
}

void addPem(std::string& text, X509* certificate) {
  const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
  if (memory == nullptr || !PEM_write_bio_X509(memory.get(), certificate)) return;
  const char* data = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &data);
  text.append(data, static_cast<std::size_t>(size));
}

}  // namespace

std::string certificateOf(ssl_ctx_st* context) {
  std::string text;
  if (context == nullptr) return text;
  addPem(text, SSL_CTX_get0_certificate(context));
  STACK_OF(X509)* chain = nullptr;
  SSL_CTX_get0_chain_certs(context, &chain);
  for (int i = 0; i < sk_X509_num(chain); ++i) addPem(text, sk_X509_value(chain, i));
  return text;
}

std::string giveCertificate(const WebSettings& settings, const std::string& pem) {
  if (!settings.certificate.empty()) {
    return "the configuration names the files of the certificate; replace those";
  }
  const std::string path = settings.directory + givenCertificate;
  const std::string candidate = path + ".new";
  std::string failure;
  if (utility::replaceFile(candidate.c_str(), pem, S_IRUSR | S_IWUSR) != 0) {
    return path + ": " + std::strerror(errno);
  }
  const Context context = contextOf(candidate, candidate, failure);
  if (context != nullptr) failure = faultOf(context);
  if (failure.starts_with(candidate)) failure = "the text" + failure.substr(candidate.size());
  if (failure.empty()) {
    if (utility::moveIntoPlace(candidate.c_str(), path.c_str()) == 0) return "";
    failure = path + ": " + std::strerror(errno);
  }
  ::unlink(utility::Path::located(candidate).c_str());
  return failure;
}

Context openTlsContext(const WebSettings& settings, std::string& failure) {
  if (!settings.certificate.empty()) {
    return contextOf(settings.certificate, settings.key, failure);
  }
  if (Context given = openGiven(settings.directory + givenCertificate)) return given;
  return openOwn(settings.directory + ownCertificate, settings.address, failure);
}

}  // namespace services::http
