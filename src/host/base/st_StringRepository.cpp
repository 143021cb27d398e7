// Texts and their tokens.
#include "host/base/st_StringRepository.h"

#include "util/st_TokenTable.h"

namespace strings {

StableStringRepository GS;

const char* StringRepository::toString(stringtoken token) { return TokenTable::text(token); }

stringtoken StableStringRepository::toToken(const char* text) { return TokenTable::token(text); }

}  // namespace strings
