// One request to a listener of events, and its answer's status.
#pragma once

#include <chrono>
#include <memory>
#include <string>

struct bio_st;

namespace services::web {

/// Where a listener is: "http://192.0.2.1:8000/path" or the same by "https".
struct Place {
  bool secure = false;
  std::string address = {};  ///< IPv4, dotted
  int port = 80;
  std::string path = "/";  ///< with its query
};

/// Reads such a text; false where it is none. Names are none, since nobody could say how long their
/// look-up takes.
bool readPlace(const std::string& text, Place& place);

/// A request on its way by HTTP, on a connection of its own. No call waits.
class Exchange {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::seconds limit{10};  ///< for all of it

  /// Begins it. With `verify` the certificate must be one of this address that the system's
  /// authorities vouch for. `headers` are whole lines.
  Exchange(const Place& place, bool verify, const std::string& headers, const std::string& body,
           Clock::time_point now);
  ~Exchange();
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  /// Goes on as far as it can.
  void advance(Clock::time_point now);

  bool isOver() const { return m_over; }
  /// Of the answer; 0 without one, for which failure() says why.
  int status() const { return m_status; }
  const std::string& failure() const { return m_failure; }

  int socket() const { return m_socket; }  ///< -1 where there is none
  short events() const;                    ///< to wait for, as of poll()
  Clock::time_point deadline() const { return m_deadline; }

 private:
  void connect(const Place& place);
  void secure(const Place& place, bool verify);
  void send();
  void receive();
  bool canGoOn(int result);
  void fail(const std::string& why);

  struct Free {
    void operator()(bio_st* bio) const;
  };

  const Clock::time_point m_deadline;
  std::unique_ptr<bio_st, Free> m_bio;  // owns the socket
  int m_socket = -1;
  std::string m_request;
  std::size_t m_sent = 0;
  std::string m_answer;
  bool m_over = false;
  int m_status = 0;
  std::string m_failure;
};

}  // namespace services::web
