// An IPv4 address and its dotted decimal text.
#pragma once

#include <cstdint>
#include <optional>

namespace utility {

class PutStream;

/// An address as a 32-bit number, the first byte of the dotted form in its highest bits.
class IPV4Address {
 public:
  explicit IPV4Address(std::uint32_t value) : m_value(value) {}

  /// Writes the dotted decimal text into `buffer` of `size` bytes, 16 hold any; cut silently.
  /// Answers the buffer.
  char* toBuffer(char* buffer, int size) const;
  void toPutStream(PutStream& stream) const;

  /// The number of a dotted decimal text (inet_pton(3)), or nothing.
  static std::optional<std::uint32_t> parse(const char* text);

 private:
  std::uint32_t m_value;
};

}  // namespace utility
