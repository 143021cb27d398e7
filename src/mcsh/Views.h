// The commands of the client's own: those that go on showing what the host says.
#pragma once

#include <string>
#include <vector>

#include "mcsh/Client.h"

namespace mcsh {

/// Whether the words are such a command: "top", "watch [SECONDS] COMMAND...", "log tail -f [LEVEL]
/// [TEXT]" or "events -f [NAME]".
bool isView(const std::vector<std::string>& words);

/// Shows it until the user ends it. Answers the exit status. Throws what Client::ask() throws, and
/// NoTerminal.
int runView(Client& client, const std::vector<std::string>& words);

}  // namespace mcsh
