// Texts and their tokens.
#pragma once

#include "util/st_Tokens.h"

namespace strings {

/// The texts of all tokens. Any thread may call; no lookup of a token takes a lock.
class StringRepository {
 public:
  /// The text of a token, valid for the life of the process. An unknown token's text is empty.
  static const char* toString(stringtoken token);
};

/// The repository whose texts are never removed.
class StableStringRepository : public StringRepository {
 public:
  /// The token of a text; a text met for the first time gets a new one. The empty text, and any
  /// new text once the repository's 65,536 places are taken, is token 0.
  stringtoken toToken(const char* text);
};

/// The process's repository.
extern StableStringRepository GS;

// The host's named strings.
inline constexpr const char* pGSAppManager = "AppManager";
inline constexpr const char* pGSInterfaceManager = "InterfaceManager";
inline constexpr const char* pGSPartnerFirmwareUpdate = "PartnerFirmwareUpdate";
inline constexpr const char* pGSNetTracker = "NetTracker";
inline constexpr const char* pGSAppFileLogger = "AppFileLogger";
inline constexpr const char* pGSdata = "data";
inline constexpr const char* pGSnokill = "nokill";
inline constexpr const char* pGSkillNonEssential = "killNonEssential";
inline constexpr const char* pGStrue = "true";
inline constexpr const char* pGSfalse = "false";

}  // namespace strings
