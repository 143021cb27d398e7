// Texts of hexadecimal digits.
#include "util/ut_Misc.h"

#include <cstdio>
#include <string_view>

namespace utility::Misc {

namespace {

constexpr std::string_view digits = "0123456789ABCDEFabcdef";

}  // namespace

bool isHexChar(char c) { return digits.find(c) != std::string_view::npos; }

void toHexString(unsigned long long value, bool padded, char* buffer, int size) {
  if (buffer == nullptr || size < 1) return;
  std::snprintf(buffer, static_cast<std::size_t>(size), "%0*llX", padded ? 16 : 1, value);
}

std::uint64_t uint64FromHexString(const char* text) {
  std::uint64_t value = 0;
  for (; isHexChar(*text); ++text) {
    const std::size_t place = digits.find(*text);
    value = value << 4 | (place < 16 ? place : place - 6);
  }
  return value;
}

}  // namespace utility::Misc
