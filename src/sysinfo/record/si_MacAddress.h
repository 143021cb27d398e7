// A MAC address and its text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace services::sysinfo {

/// The upper half of every controller's MAC address, the lower one being the end of its serial
/// number. A locally administered one: whoever builds controllers puts the registered one here.
inline constexpr std::uint64_t controllerPrefix = 0x024D43;

/// "02:4d:43:00:00:01" for an address in the lower 48 bits.
std::string macAddressText(std::uint64_t address);

/// The address of a text of six bytes of two hexadecimal digits each, joined by ":", or nothing.
std::optional<std::uint64_t> parseMacAddress(const char* text);

}  // namespace services::sysinfo
