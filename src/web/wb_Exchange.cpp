// One request to a listener of events, and its answer's status.
#include "web/wb_Exchange.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <regex>

namespace services::web {

namespace {

constexpr std::size_t longestAnswer = 1024;  // up to the end of its first line

using Context = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;

// The authorities are looked up one by one, when one is needed.
SSL_CTX* context() {
  static const Context made = [] {
    Context one(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
    if (one != nullptr) {
      SSL_CTX_set_min_proto_version(one.get(), TLS1_2_VERSION);
      SSL_CTX_load_verify_dir(one.get(), X509_get_default_cert_dir());
      SSL_CTX_set_session_cache_mode(one.get(), SSL_SESS_CACHE_OFF);
      SSL_CTX_set_mode(one.get(), SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    }
    return one;
  }();
  return made.get();
}

std::string requestOf(const Place& place, const std::string& headers, const std::string& body) {
  return "POST " + place.path + " HTTP/1.1\r\nHost: " + place.address + ":" +
         std::to_string(place.port) + "\r\n" + headers +
         "Content-Type: application/json;charset=utf-8\r\nOData-Version: 4.0\r\n"
         "Connection: close\r\nContent-Length: " +
         std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string lastError() {
  const char* text = ERR_reason_error_string(ERR_peek_last_error());
  if (text != nullptr) return text;
  return errno == 0 ? "the connection ended" : std::strerror(errno);
}

}  // namespace

bool readPlace(const std::string& text, Place& place) {
  static const std::regex grammar(
      R"(^(https?)://([0-9.]{7,15})(:([0-9]{1,5}))?(/[A-Za-z0-9_./~%?&=+,;:@$!*'()-]*)?$)");
  std::smatch match;
  constexpr std::size_t longest = 300;
  if (text.size() > longest || !std::regex_match(text, match, grammar)) return false;
  place.secure = match[1] == "https";
  place.address = match[2];
  place.port = match[4].matched ? std::stoi(match[4]) : place.secure ? 443 : 80;
  if (match[5].matched) place.path = match[5];
  in_addr binary{};
  return ::inet_pton(AF_INET, place.address.c_str(), &binary) == 1 && place.port >= 1 &&
         place.port <= 65535;
}

void Exchange::Free::operator()(bio_st* bio) const { BIO_free_all(bio); }

Exchange::Exchange(const Place& place, bool verify, const std::string& headers,
                   const std::string& body, Clock::time_point now)
    : m_deadline(now + limit), m_request(requestOf(place, headers, body)) {
  connect(place);
  if (!m_over && place.secure) secure(place, verify);
}

Exchange::~Exchange() = default;

void Exchange::connect(const Place& place) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(place.port));
  ::inet_pton(AF_INET, place.address.c_str(), &address.sin_addr);
  m_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (m_socket < 0) return fail(std::strerror(errno));
  m_bio.reset(BIO_new_socket(m_socket, BIO_CLOSE));
  if (m_bio == nullptr) {
    ::close(m_socket);
    return fail("no memory");
  }
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  if (::connect(m_socket, generic, sizeof address) != 0 && errno != EINPROGRESS) {
    fail(std::strerror(errno));
  }
}

void Exchange::secure(const Place& place, bool verify) {
  std::unique_ptr<bio_st, Free> tls(context() == nullptr ? nullptr : BIO_new_ssl(context(), 1));
  SSL* ssl = nullptr;
  if (tls != nullptr) BIO_get_ssl(tls.get(), &ssl);
  if (ssl == nullptr) return fail("no TLS: " + lastError());
  if (verify) {
    SSL_set_verify(ssl, SSL_VERIFY_PEER, nullptr);
    X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), place.address.c_str());
  }
  m_bio.reset(BIO_push(tls.release(), m_bio.release()));
}

short Exchange::events() const {
  const bool isSending = m_sent < m_request.size();
  if (m_bio != nullptr && BIO_should_read(m_bio.get())) return POLLIN;
  return isSending ? POLLOUT : POLLIN;
}

void Exchange::advance(Clock::time_point now) {
  if (!m_over && now >= m_deadline) {
    fail("no answer within " + std::to_string(limit.count()) + " s");
  }
  if (!m_over && m_sent < m_request.size()) send();
  if (!m_over && m_sent == m_request.size()) receive();
}

// Whether a call shall be tried again later; else the exchange is over.
bool Exchange::canGoOn(int result) {
  if (result > 0) return true;
  // A socket that is still being connected says that it is not.
  if (!BIO_should_retry(m_bio.get()) && errno != ENOTCONN) fail(lastError());
  return false;
}

void Exchange::send() {
  while (m_sent < m_request.size()) {
    ERR_clear_error();
    errno = 0;
    const int count = BIO_write(m_bio.get(), m_request.data() + m_sent,
                                static_cast<int>(m_request.size() - m_sent));
    if (!canGoOn(count)) return;
    m_sent += static_cast<std::size_t>(count);
  }
}

void Exchange::receive() {
  std::array<char, longestAnswer> part;
  while (m_answer.find('\n') == std::string::npos) {
    ERR_clear_error();
    errno = 0;
    const int count = BIO_read(m_bio.get(), part.data(), static_cast<int>(part.size()));
    if (!canGoOn(count)) return;
    m_answer.append(part.data(), static_cast<std::size_t>(count));
    if (m_answer.size() > longestAnswer) break;
  }
  static const std::regex grammar(R"(^HTTP/1\.[01] ([1-5][0-9][0-9])[ \r\n])");
  std::smatch match;
  if (!std::regex_search(m_answer, match, grammar)) return fail("the answer is no HTTP");
  m_status = std::stoi(match[1]);
  m_over = true;
}

void Exchange::fail(const std::string& why) {
  m_failure = why;
  m_over = true;
}

}  // namespace services::web
