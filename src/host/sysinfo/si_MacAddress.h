// A MAC address and its text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace services::sysinfo {

/// "00:c0:ff:00:00:01" for an address in the lower 48 bits.
std::string macAddressText(std::uint64_t address);

/// The address of a text of six bytes of two hexadecimal digits each, joined by ":", or nothing.
std::optional<std::uint64_t> parseMacAddress(const char* text);

}  // namespace services::sysinfo
