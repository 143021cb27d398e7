// The grammars of values that come from outside: whatever reaches a command line passes here first.
#pragma once

namespace framework {

/// Letters, digits, "_", "-" and ".", 1 to 64 of them, the first no "-" or ".": a daemon's name.
bool isDaemonName(const char* text);
inline constexpr const char* daemonNameRule =
    "a daemon's name is 1 to 64 letters, digits, \"_\", \"-\" and \".\" and begins with none of "
    "the "
    "last two";

/// An absolute path of at most 200 letters, digits and "/", "_", "-", ".", "+", ",", ":", "@", "=":
/// no character that a shell reads.
bool isSafePath(const char* text);
inline constexpr const char* safePathRule =
    "must be an absolute path of at most 200 letters, digits and \"/_-.+,:@=\"";

/// A host name or an IPv4 address: labels of letters, digits and "-", joined by single dots, none
/// beginning or ending in "-"; at most 253 characters (RFC 1123).
bool isHostName(const char* text);
inline constexpr const char* hostNameRule =
    "must be a host name or address: labels of letters, digits and \"-\", joined by dots";

/// The part of a mail address before the "@": at most 64 letters, digits, "_", "-", "+" and ".",
/// the first no "-" or ".".
bool isMailLocalPart(const char* text);
inline constexpr const char* mailLocalPartRule =
    "must be 1 to 64 letters, digits, \"_\", \"-\", \"+\" and \".\" and begin with none of the "
    "signs \"-\", \"+\" and \".\"";

/// A mail address: a local part, "@" and a host name.
bool isMailAddress(const char* text);
inline constexpr const char* mailAddressRule =
    "must be a mail address, NAME@HOST, of letters, digits, \"_\", \"-\", \"+\" and \".\"";

}  // namespace framework
