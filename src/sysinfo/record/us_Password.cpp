// Passwords as they are kept: plain where the SNMP agent's file needs them, else as a salted hash.
#include "sysinfo/record/us_Password.h"

#include <malloc.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>

#include "util/si_Hexadecimal.h"

namespace services::user {

namespace {

// What a hash was made with, and what came of it.
struct Hash {
  unsigned int logCost = 14;
  unsigned int blockSize = 8;
  unsigned int parallel = 1;
  std::string salt = {};
  std::string key = {};
};

constexpr std::size_t saltBytes = 16;
constexpr std::size_t keyBytes = 32;

std::string textOf(const Hash& hash) {
  return "$scrypt$ln=" + std::to_string(hash.logCost) + ",r=" + std::to_string(hash.blockSize) +
         ",p=" + std::to_string(hash.parallel) + "$" + hash.salt + "$" + hash.key;
}

// A cost above what is made here is taken up to 64 MiB, so that it can be raised and come back.
std::optional<Hash> parse(const char* text) {
  Hash hash;
  std::array<char, 2 * saltBytes + 1> salt{};
  std::array<char, 2 * keyBytes + 1> key{};
  const int fields =
      std::sscanf(text, "$scrypt$ln=%2u,r=%2u,p=%1u$%32[0-9a-f]$%64[0-9a-f]", &hash.logCost,
                  &hash.blockSize, &hash.parallel, salt.data(), key.data());
  hash.salt = salt.data();
  hash.key = key.data();
  const bool isWhole = fields == 5 && hash.salt.size() == 2 * saltBytes &&
                       hash.key.size() == 2 * keyBytes && textOf(hash) == text;
  const bool isBounded = hash.logCost >= 10 && hash.logCost <= 16 && hash.blockSize == 8 &&
                         hash.parallel >= 1 && hash.parallel <= 4;
  return isWhole && isBounded ? std::optional(hash) : std::nullopt;
}

// The key of a password, empty where there is not enough memory.
std::string keyOf(const Hash& hash, const std::string& password) {
  static std::mutex one;
  constexpr std::uint64_t mostMemory = 72U << 20U;
  std::array<unsigned char, keyBytes> key;
  const std::lock_guard lock(one);
  const int done = EVP_PBE_scrypt(
      password.data(), password.size(), reinterpret_cast<const unsigned char*>(hash.salt.data()),
      hash.salt.size(), std::uint64_t{1} << hash.logCost, hash.blockSize, hash.parallel, mostMemory,
      key.data(), key.size());
  ::malloc_trim(0);  // the allocator would keep these 16 MiB for good
  return done == 1 ? hexadecimal(key) : std::string();
}

bool areEqual(const std::string& a, const std::string& b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

bool isHashedPassword(const char* stored) { return parse(stored).has_value(); }

std::string hashedPassword(const std::string& password) {
  std::array<unsigned char, saltBytes> salt;
  if (RAND_bytes(salt.data(), salt.size()) != 1) return {};
  Hash hash{.salt = hexadecimal(salt)};
  hash.key = keyOf(hash, password);
  return hash.key.empty() ? std::string() : textOf(hash);
}

// Of a plain one the digests are compared, which are of one length.
bool isPassword(const char* stored, const std::string& password) {
  if (*stored == '\0') return false;
  if (const auto hash = parse(stored)) return areEqual(hash->key, keyOf(*hash, password));
  const auto digest = [](const std::string& text) {
    std::array<unsigned char, 32> bytes{};
    EVP_Q_digest(nullptr, "SHA256", nullptr, text.data(), text.size(), bytes.data(), nullptr);
    return hexadecimal(bytes);
  };
  return areEqual(digest(stored), digest(password));
}

}  // namespace services::user
