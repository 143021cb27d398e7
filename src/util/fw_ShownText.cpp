// What of a text from outside may reach a terminal, a log or a command line as it is.
#include "util/fw_ShownText.h"

#include <array>
#include <cstdint>

namespace framework {

namespace {

constexpr std::uint32_t asciiEnd = 0x80;

bool isBetween(std::uint32_t code, std::uint32_t first, std::uint32_t last) {
  return first <= code && code <= last;
}

bool isControl(std::uint32_t code) {
  return code < 0x20 || isBetween(code, 0x7F, 0x9F) ||  // C0; delete and C1
         isBetween(code, 0x2028, 0x202E) ||             // separators, embeddings, overrides
         isBetween(code, 0x2066, 0x2069);               // isolates
}

// The length that a lead byte announces (RFC 3629); 0 for a byte that leads nothing.
std::size_t announcedLength(unsigned char lead) {
  if (isBetween(lead, 0xC2, 0xDF)) return 2;
  if (isBetween(lead, 0xE0, 0xEF)) return 3;
  return isBetween(lead, 0xF0, 0xF4) ? 4 : 0;
}

std::string shown(std::string_view text, bool keepLineFeeds) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto [kind, length] = firstCharacter(text);
    if (kind == CharacterKind::Shown || (keepLineFeeds && text.front() == '\n')) {
      result += text.substr(0, length);
    } else {
      result += '?';
    }
    text.remove_prefix(length);
  }
  return result;
}

}  // namespace

Character firstCharacter(std::string_view text) {
  constexpr std::array<std::uint32_t, 5> least = {0, 0, 0x80, 0x800, 0x10000};
  constexpr Character malformed = {CharacterKind::Malformed, 1};
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < asciiEnd ? 1 : announcedLength(lead);
  if (length == 0 || length > text.size()) return malformed;
  std::uint32_t code = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (!isBetween(byte, 0x80, 0xBF)) return malformed;
    code = code << 6U | (byte & 0x3FU);
  }
  if (code < least[length] || code > 0x10FFFF || isBetween(code, 0xD800, 0xDFFF)) return malformed;
  return {isControl(code) ? CharacterKind::Control : CharacterKind::Shown, length};
}

bool isShown(std::string_view text) { return shownText(text) == text; }

std::string shownText(std::string_view text) { return shown(text, false); }

std::string shownLines(std::string_view text) { return shown(text, true); }

}  // namespace framework
