// Passwords as they are kept: plain where the SNMP agent's file needs them, else as a salted hash.
#pragma once

#include <string>

namespace services::user {

/// Whether a stored password is a hash: "$scrypt$ln=14,r=8,p=1$SALT$KEY" (RFC 7914), salt and key
/// in hexadecimal digits. No plain password is as long.
bool isHashedPassword(const char* stored);

/// The hash of a password with a new salt. It takes tens of milliseconds and 16 MiB; one is worked
/// out at a time, others wait. Empty when memory or random bytes cannot be had, and in a build for
/// small controllers.
std::string hashedPassword(const std::string& password);

/// Whether this password is the stored one, plain or hashed; never for an empty one that is stored.
/// The time tells nothing of where they differ. For a hash it takes what hashing takes.
bool isPassword(const char* stored, const std::string& password);

}  // namespace services::user
