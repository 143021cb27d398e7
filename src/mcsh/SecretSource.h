// Where a secret comes from that is not typed into a command line.
#pragma once

#include <stdexcept>
#include <string>

namespace mcsh {

/// A secret cannot be had; the text is one line without its line end.
class SecretError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The secret of that key: the first line of the file at `source`, or, when that is "-", what is
/// typed twice at the process's terminal (or stdin, where that is one), which shows nothing of it.
/// It is not empty and holds what is shown alone; where it would or cannot be read, a SecretError
/// is thrown.
std::string readSecret(const std::string& key, const std::string& source);

}  // namespace mcsh
