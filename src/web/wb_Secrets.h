// Random and keyed texts, and comparing them.
#pragma once

#include <optional>
#include <string>

namespace services::web {

/// Random bytes in hexadecimal digits; throws std::runtime_error where there are none to be had.
std::string randomText(std::size_t bytes);

/// The digest of a text under this process's own key (HMAC with SHA-256), in hexadecimal digits.
std::string keyedDigest(const std::string& text);

/// Whether two texts are equal, in a time that tells nothing of where they differ.
bool areEqualSecrets(const std::string& a, const std::string& b);

/// The user's name and the password of a header "Basic ..." (RFC 7617).
struct Credentials {
  std::string user;
  std::string password;
};
std::optional<Credentials> basicCredentials(const std::string& header);

}  // namespace services::web
