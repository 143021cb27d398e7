// Asking the partner controller, and answering it: texts signed with a key that both hold.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace services::network {

/// What the two ends share: a TCP port, and the secret key of the midplane.
///
/// The asker sends "MCPEER1 NONCE" and a line end, the nonce 32 hexadecimal digits that it never
/// sends twice. The answer is a line "SIGNATURE LENGTH" and then LENGTH bytes of body, at most
/// 8192; the signature is the HMAC-SHA256 (RFC 2104, 64 hexadecimal digits) of the nonce and the
/// body. So an answer that was not made with the key, or for another question, is refused.
struct ExchangeSettings {
  std::uint16_t port;
  std::string key;
};

/// Reads the key from a file that its owner alone may read, of 32 to 4096 bytes. Otherwise nothing,
/// and `failure` says why in one line.
std::optional<std::string> readExchangeKey(const char* path, std::string& failure);

/// Asks at an IPv4 address. The body of a right answer, or nothing and `failure` says why in one
/// line. Takes at most `milliseconds`.
std::optional<std::string> askSigned(const char* address, const ExchangeSettings& settings,
                                     int milliseconds, std::string& failure);

/// Answers at these IPv4 addresses, which need not be there yet, on a thread of its own that serves
/// one asker after the other and gives each a second.
class SignedListener {
 public:
  /// `body` is called on the listener's thread, once a question.
  SignedListener(const std::vector<std::string>& addresses, ExchangeSettings settings,
                 std::function<std::string()> body);
  /// Closes the port; a question under way is answered first.
  ~SignedListener();
  SignedListener(const SignedListener&) = delete;
  SignedListener& operator=(const SignedListener&) = delete;

  /// Why it does not listen at all its addresses: one line; empty when it does.
  const std::string& failure() const { return m_failure; }

 private:
  void serve();
  void answer(int socket) const;

  const ExchangeSettings m_settings;
  const std::function<std::string()> m_body;
  std::vector<int> m_sockets;
  int m_stop;  // an event descriptor: the end is near
  std::string m_failure;
  std::thread m_thread;
};

}  // namespace services::network
