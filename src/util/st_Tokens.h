// String tokens: the numbers of texts, known where a text is used.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace strings {

/// The number of a text: a digest of it in 31 bits, so that it needs no list of all texts and is
/// the same in every build. 0 is the empty text and ends every token list.
using stringtoken = std::uint32_t;

/// The digest: FNV-1a (draft-eastlake-fnv), its highest bit left out.
constexpr stringtoken digestOf(std::string_view text) {
  if (text.empty()) return 0;
  std::uint32_t digest = 2166136261U;
  for (const char c : text) digest = (digest ^ static_cast<unsigned char>(c)) * 16777619U;
  return digest & 0x7fffffffU;
}

/// Makes a token's text known to the string repository when the library that holds the object is
/// loaded. A token that has another text already keeps it; the host does not start then.
class Word {
 public:
  /// `text` must live as long as the object.
  Word(stringtoken token, const char* text);
};

/// The same for the texts of digests in a header, once beside it: an initialiser in each source
/// that includes it would be dear.
class Words {
 public:
  Words(std::initializer_list<const char*> texts);
};

/// A text as a template argument.
template <std::size_t size>
struct Literal {
  consteval Literal(const char (&literal)[size]) { std::copy_n(literal, size, text); }
  char text[size] = {};
};

template <Literal literal>
inline constexpr Literal known = literal;
template <Literal literal>
inline const Word word{digestOf(known<literal>.text), known<literal>.text};

constexpr stringtoken tokenOfWord(const Word* /*made known by this*/, const char* text) {
  return digestOf(text);
}

/// The token of a text that is known when the program is built: token<"web">. Whoever uses it makes
/// the text known; no list is to be changed for a new one. For source files; headers take
/// digestOf() and have Words.
template <Literal literal>
inline constexpr stringtoken token = tokenOfWord(&word<literal>, known<literal>.text);

// The names that the host's own interface gives: TOKEN(name, text) makes strings::tGSname.
#define MC_HOST_TOKENS(TOKEN)                          \
  /* the class of the product's services */            \
  TOKEN(serviceClass, "mcapp")                         \
  /* debug flags that services share */                \
  TOKEN(lifecycle, "lifecycle")                        \
  TOKEN(destructors, "destructors")                    \
  /* errors that exceptions carry */                   \
  TOKEN(streamOverflow, "stream overflow")             \
  TOKEN(processGone, "process gone")                   \
  /* the service that holds the console */             \
  TOKEN(ConsoleHold, "ConsoleHold")                    \
  /* changes of the system information and of users */ \
  TOKEN(sysInfoChanged, "sysInfoChanged")              \
  TOKEN(userChanged, "userChanged")                    \
  TOKEN(userAccessChanged, "userAccessChanged")        \
  /* accesses to a dataset, and the datasets */        \
  TOKEN(readAccess, "read")                            \
  TOKEN(components, "components")                      \
  /* roles and types of a user's SNMP access */        \
  TOKEN(SnmpUser, "SnmpUser")                          \
  TOKEN(SnmpTarget, "SnmpTarget")                      \
  TOKEN(none, "none")                                  \
  TOKEN(MD5, "MD5")                                    \
  TOKEN(SHA, "SHA")                                    \
  TOKEN(DES, "DES")                                    \
  TOKEN(AES, "AES")

inline constexpr stringtoken tGSendOfList = 0;
#define MC_TOKEN_CONSTANT(name, text) inline constexpr stringtoken tGS##name = digestOf(text);
MC_HOST_TOKENS(MC_TOKEN_CONSTANT)
#undef MC_TOKEN_CONSTANT

}  // namespace strings
