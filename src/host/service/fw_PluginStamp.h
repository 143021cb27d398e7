// What a plug-in says of the headers that it was built with, in a place that is read before it is
// loaded, since its static initialisers act while it is.
#pragma once

#include <cstdint>

#include "util/st_Tokens.h"

namespace framework {

/// The version of what the host gives its plug-ins: the public headers and what their calls do. It
/// is raised with each change for which a plug-in must be built anew.
inline constexpr std::uint32_t pluginInterface = 2;

/// A digest of the names and texts of the host's tokens.
#define MC_TOKEN_ROW(name, text) #name "=" text "\n"
inline constexpr std::uint32_t tokenTable = strings::digestOf(MC_HOST_TOKENS(MC_TOKEN_ROW));
#undef MC_TOKEN_ROW

/// The type of the note; its owner is "MC", and it holds the two numbers.
inline constexpr std::uint32_t pluginNote = 1;

/// Writes the note into each object that registers a service. Nobody calls it.
[[gnu::used]] inline void stampPlugin() {
  __asm__ volatile(
      ".pushsection .note.mc.plugin, \"a\", %%note\n"
      ".balign 4\n"
      ".long 3, 8, %c0\n"
      ".asciz \"MC\"\n"
      ".balign 4\n"
      ".long %c1, %c2\n"
      ".popsection" ::"i"(pluginNote),
      "i"(pluginInterface), "i"(tokenTable));
}

}  // namespace framework
