// Random and keyed texts, and comparing them.
#include "web/wb_Secrets.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "util/si_Hexadecimal.h"

namespace services::web {

std::string randomText(std::size_t bytes) {
  std::vector<unsigned char> random(bytes);
  if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) {
    throw std::runtime_error("no random bytes");
  }
  return hexadecimal(random);
}

std::string keyedDigest(const std::string& text) {
  static const std::string key = randomText(32);
  std::array<unsigned char, 32> digest;
  unsigned int size = digest.size();
  HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), &size);
  return hexadecimal(digest);
}

bool areEqualSecrets(const std::string& a, const std::string& b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::optional<Credentials> basicCredentials(const std::string& header) {
  constexpr std::string_view scheme = "Basic ";
  constexpr std::size_t longest = 400;
  if (!header.starts_with(scheme) || header.size() > longest) return std::nullopt;
  std::array<unsigned char, longest> bytes;
  const std::string coded = header.substr(scheme.size());
  if (coded.size() % 4 != 0) return std::nullopt;
  const int size =
      EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(coded.data()),
                      static_cast<int>(coded.size()));
  if (size < 0) return std::nullopt;
  const std::size_t padding = coded.size() - (coded.find_last_not_of('=') + 1);
  if (padding > 2) return std::nullopt;
  const std::string text(bytes.begin(), bytes.begin() + (size - static_cast<int>(padding)));
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return std::nullopt;
  return Credentials{text.substr(0, colon), text.substr(colon + 1)};
}

}  // namespace services::web
