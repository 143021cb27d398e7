// An IPv4 address and its dotted decimal text.
#include "util/ut_IPV4Address.h"

#include <arpa/inet.h>

#include "util/ut_PutStream.h"

namespace utility {

char* IPV4Address::toBuffer(char* buffer, int size) const {
  PutStream stream(buffer, size);
  stream.setSilentTruncation(true);
  toPutStream(stream);
  return buffer;
}

void IPV4Address::toPutStream(PutStream& stream) const {
  stream.PutF("%u.%u.%u.%u", m_value >> 24, m_value >> 16 & 255, m_value >> 8 & 255, m_value & 255);
}

std::optional<std::uint32_t> IPV4Address::parse(const char* text) {
  in_addr address{};
  if (::inet_pton(AF_INET, text, &address) != 1) return std::nullopt;
  return ntohl(address.s_addr);
}

}  // namespace utility
