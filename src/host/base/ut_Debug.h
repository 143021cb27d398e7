// The debug flags, one for each token that writes debug lines.
#pragma once

#include "util/st_Tokens.h"

namespace utility {

/// Gates debug lines by token. Any thread may call; isDebugOn() takes no lock.
class Debug {
 public:
  /// Whether debug lines of the token's writer are wanted.
  static bool isDebugOn(strings::stringtoken token);

  /// Switches them. False, and nothing changes, for token 0 and for the 65th that is on.
  static bool setDebug(strings::stringtoken token, bool on);
};

}  // namespace utility
