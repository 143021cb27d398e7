// The grammars of values that come from outside: whatever reaches a command line passes here first.
#pragma once

namespace framework {

/// Letters, digits, "_", "-" and ".", 1 to 64 of them, the first no "-" or ".": a daemon's name.
bool isDaemonName(const char* text);
inline constexpr const char* daemonNameRule =
    "a daemon's name is 1 to 64 letters, digits, \"_\", \"-\" and \".\" and begins with none of the "
    "last two";

/// An absolute path of at most 200 letters, digits and "/", "_", "-", ".", "+", ",", ":", "@", "=":
/// no character that a shell reads.
bool isSafePath(const char* text);
inline constexpr const char* safePathRule =
    "must be an absolute path of at most 200 letters, digits and \"/_-.+,:@=\"";

}  // namespace framework
