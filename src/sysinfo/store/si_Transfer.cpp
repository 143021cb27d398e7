// What one controller gives another when it gives its settings.
#include "sysinfo/store/si_Transfer.h"

#include <openssl/evp.h>

#include <array>
#include <memory>

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
  const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                        EVP_MD_CTX_free);
  EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
  const auto add = [&context](const std::string& text) {
    const std::string length = std::to_string(text.size()) + ":";
    EVP_DigestUpdate(context.get(), length.data(), length.size());
    EVP_DigestUpdate(context.get(), text.data(), text.size());
  };
  for (const auto& [place, value] : rows) {
    add(place.scope);
    add(place.key);
    add(value);
  }
  std::array<unsigned char, EVP_MAX_MD_SIZE> bytes;
  unsigned int size = 0;
  EVP_DigestFinal_ex(context.get(), bytes.data(), &size);
  return hexadecimal({bytes.data(), size});
}

}  // namespace services::sysinfo
