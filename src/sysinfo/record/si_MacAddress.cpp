// A MAC address and its text.
#include "sysinfo/record/si_MacAddress.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <string_view>

namespace services::sysinfo {

std::string macAddressText(std::uint64_t address) {
  std::array<char, 18> text;
  const auto byte = [address](unsigned int index) {
    return static_cast<unsigned int>(address >> (8 * index)) & 0xFFU;
  };
  std::snprintf(text.data(), text.size(), "%02x:%02x:%02x:%02x:%02x:%02x", byte(5), byte(4),
                byte(3), byte(2), byte(1), byte(0));
  return text.data();
}

std::optional<std::uint64_t> parseMacAddress(const char* text) {
  const std::string_view view(text);
  if (view.size() != 17) return std::nullopt;
  std::uint64_t address = 0;
  for (std::size_t i = 0; i < view.size(); i += 3) {
    unsigned int byte = 0;
    const char* end = view.data() + i + 2;
    if (std::from_chars(view.data() + i, end, byte, 16).ptr != end) return std::nullopt;
    if (i + 2 < view.size() && *end != ':') return std::nullopt;
    address = address << 8 | byte;
  }
  return address;
}

}  // namespace services::sysinfo
