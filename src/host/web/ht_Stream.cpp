// Text on its way to one web client for as long as both like.
#include "host/web/ht_Stream.h"

namespace services::http {

bool Stream::push(std::string_view text) {
  const std::lock_guard lock(m_mutex);
  if (m_ended || m_gone) return false;
  m_tooSlow = m_queue.size() + text.size() > m_room;
  if (m_tooSlow) {
    m_ended = true;
    m_queue.clear();
  } else {
    m_queue += text;
  }
  if (m_wake) m_wake();
  return !m_tooSlow;
}

void Stream::end() {
  const std::lock_guard lock(m_mutex);
  m_ended = true;
  if (m_wake) m_wake();
}

bool Stream::isOver() const {
  const std::lock_guard lock(m_mutex);
  return m_ended || m_gone;
}

void Stream::attach(std::function<void()> wake) {
  const std::lock_guard lock(m_mutex);
  m_wake = std::move(wake);
  m_gone = !m_wake;
  if (m_gone) m_queue = std::string();
}

bool Stream::hasMore() const {
  const std::lock_guard lock(m_mutex);
  return !m_queue.empty() || m_ended;
}

std::string Stream::take() {
  const std::lock_guard lock(m_mutex);
  return std::exchange(m_queue, std::string());
}

bool Stream::isEnded() const {
  const std::lock_guard lock(m_mutex);
  return m_ended && m_queue.empty();
}

bool Stream::isTooSlow() const {
  const std::lock_guard lock(m_mutex);
  return m_tooSlow;
}

}  // namespace services::http
