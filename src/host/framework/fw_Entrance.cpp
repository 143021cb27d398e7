// The grammars of values that come from outside.
#include "host/framework/fw_Entrance.h"

#include <cstring>

namespace framework {

namespace {

constexpr const char* alphanumeric = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// Whether the text consists of `atLeast` to `atMost` letters, digits and characters of `others`.
bool consistsOf(const char* text, const char* others, std::size_t atLeast, std::size_t atMost) {
  std::size_t length = 0;
  for (; text[length] != '\0'; ++length) {
    const char c = text[length];
    if (std::strchr(alphanumeric, c) == nullptr && std::strchr(others, c) == nullptr) return false;
  }
  return length >= atLeast && length <= atMost;
}

}  // namespace

bool isDaemonName(const char* text) {
  return consistsOf(text, "_-.", 1, 64) && *text != '-' && *text != '.';
}

bool isSafePath(const char* text) { return *text == '/' && consistsOf(text, "/_-.+,:@=", 1, 200); }

}  // namespace framework
