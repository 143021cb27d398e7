// The grammars of values that come from outside.
#include "host/base/fw_Entrance.h"

#include <cstring>
#include <string>

namespace framework {

namespace {

constexpr const char* alphanumeric =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

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

bool isHostName(const char* text) {
  if (!consistsOf(text, "-.", 1, 253)) return false;
  char before = '.';
  for (; *text != '\0'; before = *text++) {
    const bool atStart = before == '.';
    if (atStart && (*text == '.' || *text == '-')) return false;
    if (before == '-' && *text == '.') return false;
  }
  return before != '-' && before != '.';
}

bool isMailLocalPart(const char* text) {
  return consistsOf(text, "_-+.", 1, 64) && std::strchr("-+.", *text) == nullptr;
}

bool isMailAddress(const char* text) {
  const char* at = std::strchr(text, '@');
  return at != nullptr && isMailLocalPart(std::string(text, at).c_str()) && isHostName(at + 1);
}

}  // namespace framework
