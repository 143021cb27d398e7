// Passwords as they are kept: plain where the SNMP agent's file needs them, else as a salted hash.
#include "sysinfo/record/us_Password.h"

#include <malloc.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <cstdint>
#include <mutex>

#include "sysinfo/record/us_PasswordHash.h"
#include "util/si_Hexadecimal.h"

namespace services::user {

namespace {

// The key of a password, empty where there is not enough memory.
std::string keyOf(const PasswordHash& hash, const std::string& password) {
  static std::mutex one;
  // The allocator would keep the 16 MiB for good, since it learns to keep what is freed.
  [[maybe_unused]] static const int given = ::mallopt(M_MMAP_THRESHOLD, 1 << 20);
  constexpr std::uint64_t mostMemory = 72U << 20U;
  std::array<unsigned char, PasswordHash::keyBytes> key;
  const std::lock_guard lock(one);
  const int done = EVP_PBE_scrypt(
      password.data(), password.size(), reinterpret_cast<const unsigned char*>(hash.salt.data()),
      hash.salt.size(), std::uint64_t{1} << hash.logCost, hash.blockSize, hash.parallel, mostMemory,
      key.data(), key.size());
  return done == 1 ? hexadecimal(key) : std::string();
}

bool areEqual(const std::string& a, const std::string& b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

}  // namespace

bool isHashedPassword(const char* stored) { return passwordHashOf(stored).has_value(); }

std::string hashedPassword(const std::string& password) {
  std::array<unsigned char, PasswordHash::saltBytes> salt;
  if (RAND_bytes(salt.data(), salt.size()) != 1) return {};
  PasswordHash hash{.salt = hexadecimal(salt)};
  hash.key = keyOf(hash, password);
  return hash.key.empty() ? std::string() : textOf(hash);
}

// Of a plain one the digests are compared, which are of one length.
bool isPassword(const char* stored, const std::string& password) {
  if (*stored == '\0') return false;
  if (const auto hash = passwordHashOf(stored)) return areEqual(hash->key, keyOf(*hash, password));
  const auto digest = [](const std::string& text) {
    std::array<unsigned char, 32> bytes{};
    EVP_Q_digest(nullptr, "SHA256", nullptr, text.data(), text.size(), bytes.data(), nullptr);
    return hexadecimal(bytes);
  };
  return areEqual(digest(stored), digest(password));
}

}  // namespace services::user
