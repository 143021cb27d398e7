// Bytes as hexadecimal digits.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace services {

/// Two lower-case digits a byte.
inline std::string hexadecimal(std::span<const unsigned char> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) text += {digits[byte >> 4U], digits[byte & 15U]};
  return text;
}

}  // namespace services
