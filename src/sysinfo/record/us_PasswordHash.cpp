// The text of a password's hash.
#include "sysinfo/record/us_PasswordHash.h"

#include <array>
#include <cstdio>

namespace services::user {

std::string textOf(const PasswordHash& hash) {
  return "$scrypt$ln=" + std::to_string(hash.logCost) + ",r=" + std::to_string(hash.blockSize) +
         ",p=" + std::to_string(hash.parallel) + "$" + hash.salt + "$" + hash.key;
}

std::optional<PasswordHash> passwordHashOf(const char* text) {
  PasswordHash hash;
  std::array<char, 2 * PasswordHash::saltBytes + 1> salt{};
  std::array<char, 2 * PasswordHash::keyBytes + 1> key{};
  const int fields =
      std::sscanf(text, "$scrypt$ln=%2u,r=%2u,p=%1u$%32[0-9a-f]$%64[0-9a-f]", &hash.logCost,
                  &hash.blockSize, &hash.parallel, salt.data(), key.data());
  hash.salt = salt.data();
  hash.key = key.data();
  const bool isWhole = fields == 5 && hash.salt.size() + 1 == salt.size() &&
                       hash.key.size() + 1 == key.size() && textOf(hash) == text;
  const bool isBounded = hash.logCost >= 10 && hash.logCost <= 16 && hash.blockSize == 8 &&
                         hash.parallel >= 1 && hash.parallel <= 4;
  return isWhole && isBounded ? std::optional(hash) : std::nullopt;
}

}  // namespace services::user
