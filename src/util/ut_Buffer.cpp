// Moving the positions of a bounded buffer, and the rule at its bounds.
#include "util/ut_Buffer.h"

#include <algorithm>
#include <limits>

#include "util/fw_Exception.h"

namespace utility {
namespace {

// The value pinned to the range, so that an absurd count ends past the bound on its own side.
std::int32_t saturated(std::int64_t value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, Limits::min(), Limits::max()));
}

[[noreturn]] void throwOverflow(const char* operation) {
  throw new framework::Exception(strings::tGSstreamOverflow, "mclinux/src/util/ut_Buffer",
                                 operation, "", true);
}

}  // namespace

Buffer::Buffer(char* array, int size, bool silentTruncation)
    : m_callersArray(1), m_silentTruncation(silentTruncation) {
  if (array == nullptr || size < 1) return;
  attach(array, size);
  array[0] = '\0';
  array[size - 1] = '\0';
}

void Buffer::attach(char* array, int size) {
  m_capacity = size - 1;
  m_data = array;
}

int Buffer::WriteRemaining() const { return saturated(std::int64_t{m_capacity} - m_head); }

int Buffer::ReadAvailable() const { return saturated(std::int64_t{m_head} - m_tail); }

void Buffer::WriteAdvance(int count) {
  m_head = saturated(std::int64_t{m_head} + count);
  if (m_head <= m_capacity && count >= 0) return;
  if (!m_silentTruncation) throwOverflow("virtual void utility::Buffer::WriteAdvance(int)");
  m_head = std::min(std::max(m_head, m_tail), m_capacity);
}

void Buffer::ReadAdvance(int count) {
  m_tail = saturated(std::int64_t{m_tail} + count);
  if (m_tail <= m_head && count >= 0) return;
  if (!m_silentTruncation) throwOverflow("virtual void utility::Buffer::ReadAdvance(int)");
  m_tail = std::min(std::max(m_tail, 0), m_head);
}

void Buffer::Rewind() {
  m_head = 0;
  m_tail = 0;
  if (m_data != nullptr) m_data[0] = '\0';
}

}  // namespace utility
