// The text of a password's hash: "$scrypt$ln=14,r=8,p=1$SALT$KEY" (RFC 7914).
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace services::user {

/// What a hash was made with, and what came of it, in hexadecimal digits.
struct PasswordHash {
  static constexpr std::size_t saltBytes = 16;
  static constexpr std::size_t keyBytes = 32;

  unsigned int logCost = 14;
  unsigned int blockSize = 8;
  unsigned int parallel = 1;
  std::string salt = {};
  std::string key = {};
};

std::string textOf(const PasswordHash& hash);

/// The hash of a text; nothing for any other text. A cost above what is made here is taken up to
/// 64 MiB, so that it can be raised and come back.
std::optional<PasswordHash> passwordHashOf(const char* text);

}  // namespace services::user
