// What one controller gives another when it gives its settings.
#include "sysinfo/store/si_Transfer.h"

#include <nettle/sha2.h>

#include <array>

#include "sysinfo/record/si_Scopes.h"
#include "util/si_Hexadecimal.h"

namespace services::sysinfo {

Rows transferable(const Rows& rows) {
  Rows given;
  for (const auto& row : rows) {
    const auto& [place, value] = row;
    const bool isSetting =
        place.scope == systemScope && !isOwnFlag(place.key) && place != midplaneKey;
    if (isSetting || place.scope.starts_with(userScope)) given.insert(row);
  }
  return given;
}

std::string digestOf(const Rows& rows) {
  sha256_ctx context;
  sha256_init(&context);
  const auto add = [&context](const std::string& text) {
    const std::string length = std::to_string(text.size()) + ":";
    for (const std::string& part : {length, text}) {
      sha256_update(&context, part.size(), reinterpret_cast<const std::uint8_t*>(part.data()));
    }
  };
  for (const auto& [place, value] : rows) {
    add(place.scope);
    add(place.key);
    add(value);
  }
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> bytes;
  sha256_digest(&context, bytes.size(), bytes.data());
  return hexadecimal(bytes);
}

}  // namespace services::sysinfo
