// Text on its way to one web client for as long as both like.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace services::http {

/// A bounded queue of text between a service that writes when it has something to say and a client
/// that reads when it can. Any thread may call; no call waits, and none calls back but the one to
/// `wake`.
class Stream {
 public:
  static constexpr std::size_t most = 32768;  ///< bytes that wait for the client

  /// Begins with a text of any size, for which `most` makes room.
  explicit Stream(std::string first = {})
      : m_room(most + first.size()), m_queue(std::move(first)) {}

  /// Queues a text, whole or not at all. False when there is no client any more: it has gone, or it
  /// reads so slowly that this text found no room, which ends it.
  bool push(std::string_view text);
  /// Nothing more comes: what is queued is sent, and then the connection ends.
  void end();
  /// Whether nobody takes what is pushed.
  bool isOver() const;

  /// The listener's side: who is told of what was pushed, under the stream's lock; nobody by an
  /// empty function, which ends the stream.
  void attach(std::function<void()> wake);
  /// Whether there is something to send, the end included.
  bool hasMore() const;
  /// What is queued, which is then taken out.
  std::string take();
  /// Whether it ends once all is sent, and whether that is because the client was too slow.
  bool isEnded() const;
  bool isTooSlow() const;

 private:
  const std::size_t m_room;
  mutable std::mutex m_mutex;
  std::string m_queue;
  std::function<void()> m_wake;
  bool m_ended = false;
  bool m_tooSlow = false;
  bool m_gone = false;
};

}  // namespace services::http
