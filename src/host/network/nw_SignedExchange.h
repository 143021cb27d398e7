// Asking the partner controller, and answering it: texts signed with a key that both hold.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/network/nw_ListeningSocket.h"
#include "host/network/nw_Room.h"

namespace services::network {

inline constexpr std::size_t longestBody = 8192;  ///< of an answer, in bytes

/// What the two ends share: a TCP port, and the secret key of the midplane.
///
/// The asker sends "MCPEER1 NONCE" and a line end, the nonce 32 hexadecimal digits that it never
/// sends twice. The answer is a line "SIGNATURE LENGTH" and then LENGTH bytes of body, at most
/// longestBody; the signature is the HMAC-SHA256 (RFC 2104, 64 hexadecimal digits) of the nonce and
/// the body. So an answer that was not made with the key, or for another question, is refused.
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

/// What askers may take of a listener.
struct ExchangeLimits {
  std::chrono::milliseconds question{1000};  ///< for the whole question
  std::chrono::milliseconds retry{5000};     ///< until a place that could not be had is tried again
  Bounds bounds = {};
};

/// Answers at these IPv4 addresses, which need not be there yet, on a thread of its own that waits
/// for none of its askers. Where there is no room for another, the one goes that whoMakesRoom()
/// names. A place that cannot be had, its port being taken, is tried again until it can.
class SignedListener {
 public:
  /// `body` is called on the listener's thread, once a question.
  SignedListener(const std::vector<std::string>& addresses, ExchangeSettings settings,
                 std::function<std::string()> body, const ExchangeLimits& limits = {});
  /// Closes the port; a question under way is answered first.
  ~SignedListener();
  SignedListener(const SignedListener&) = delete;
  SignedListener& operator=(const SignedListener&) = delete;

  /// Why it did not listen at all its addresses from the start: one line; empty when it did.
  const std::string& failure() const { return m_failure; }

 private:
  using Clock = std::chrono::steady_clock;
  struct ListeningSocket {
    std::string address;
    platform::Descriptor socket = platform::Descriptor();
  };
  struct Asker {
    Newcomer connection;
    Clock::time_point deadline;
    std::string question = {};
  };

  void openSockets();
  bool round();
  void accept(const ListeningSocket& listening, Clock::time_point now);
  void makeRoom(std::uint32_t newcomer);
  bool hear(Asker& asker) const;
  void answer(const Asker& asker) const;

  const ExchangeSettings m_settings;
  const std::function<std::string()> m_body;
  const ExchangeLimits m_limits;
  const platform::Descriptor m_stop;  // an event counter: the end is near
  std::string m_failure;
  // The thread's own once it runs.
  std::vector<ListeningSocket> m_listening;
  std::list<Asker> m_askers;  // from the oldest to the newest
  Clock::time_point m_retryAt = Clock::time_point::max();
  Clock::time_point m_acceptAt = Clock::time_point::min();
  std::thread m_thread;
};

}  // namespace services::network
