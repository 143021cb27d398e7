// The debug flags, one for each token that writes debug lines.
#pragma once

#include "util/st_Tokens.h"

namespace utility {

/// Gates debug lines by token. Any thread may call; no call takes a lock.
class Debug {
 public:
  /// Whether debug lines of the token's writer are wanted.
  static bool isDebugOn(strings::stringtoken token);

  /// Switches them. False, and nothing changes, for a token past the 65,536th.
  static bool setDebug(strings::stringtoken token, bool on);
};

}  // namespace utility
