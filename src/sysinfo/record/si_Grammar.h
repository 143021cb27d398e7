// The grammars of the stored values: what of a text may come in.
#pragma once

namespace services::sysinfo {

/// A grammar: the test, the rule in words, and whether the value is a secret, which is never shown
/// nor logged.
struct Grammar {
  bool (*holds)(const char* text);
  const char* rule;
  bool secret = false;
};

// Texts reach command lines and the SNMP agent's file as they are, so nothing passes here that
// could break out of them.
extern const Grammar flagGrammar;       ///< "true" or "false"
extern const Grammar addressGrammar;    ///< a dotted IPv4 address, "0.0.0.0" for none
extern const Grammar macGrammar;        ///< a MAC address: six bytes in hexadecimal, joined by ":"
extern const Grammar mailGrammar;       ///< a mail address, or empty
extern const Grammar senderGrammar;     ///< the local part of a mail address, or empty
extern const Grammar hostGrammar;       ///< a host name, or empty
extern const Grammar relayGrammar;      ///< the same with at most 63 characters
extern const Grammar serialGrammar;     ///< a serial number, or empty
extern const Grammar timestampGrammar;  ///< a time of digits, or empty
extern const Grammar versionGrammar;    ///< a version of at most 31 characters, or empty
extern const Grammar communityGrammar;  ///< a community of SNMP
extern const Grammar userNameGrammar;   ///< the name of a user who is added
extern const Grammar storedUserNameGrammar;  ///< one who was stored, perhaps by an older release
extern const Grammar passwordGrammar;        ///< a password, or empty
extern const Grammar keptPasswordGrammar;    ///< the same, or the hash of one
extern const Grammar targetGrammar;          ///< where traps go: HOST or HOST:PORT, or empty
extern const Grammar rolesGrammar;           ///< a list of interfaces and SNMP roles
extern const Grammar rightsGrammar;          ///< "ReadOnly", "Operator" or "Administrator"
extern const Grammar authTypeGrammar;        ///< "none", "MD5" or "SHA"
extern const Grammar privacyTypeGrammar;     ///< "none", "DES" or "AES"

/// Why the SNMP agent would give a user of this name another one's rights: one line, null where it
/// would not. Such a user is left out of the agent's file.
const char* agentNameFault(const char* name);

}  // namespace services::sysinfo
