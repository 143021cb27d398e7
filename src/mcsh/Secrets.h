// Command lines that name a secret's source instead of holding the secret.
#pragma once

#include <string>
#include <vector>

namespace mcsh {

/// The words of a command with the secrets that they name. In "sysinfo set KEY VALUE..." and "user
/// add|set NAME KEY=VALUE..." a key with "@" behind it has a value that says where the secret is: a
/// file's path, or "-" for the terminal. Other words stay as they are. Throws as readSecret().
std::vector<std::string> withSecrets(std::vector<std::string> words);

/// The same for a line; one that names no secret, and one that cannot be split, stays as it is.
std::string withSecrets(const std::string& line);

/// Whether a line may hold a secret, so that it is to be kept nowhere.
bool mayHoldSecret(const std::string& line);

}  // namespace mcsh
