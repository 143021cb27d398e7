// What a controller tells of its daemons and interfaces, as lines of its record.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "app/supervision/app_PartnerSummary.h"

namespace services::peer {

/// The lines of a summary, at most `room` bytes: "Summary=whole|cut", for each interface
/// "Interface=NAME up|down", and for each daemon "Daemon=NAME STATE SECONDS RESTARTS FAILURES
/// yes|no", the last for suspended. Where the room is short the daemons in the best state are left
/// out, and the summary is "cut".
std::string textOf(const app::PartnerSummary& summary, std::size_t room);

/// Takes such a line into a summary; one of another key is skipped. Answers the rule that it
/// breaks, or null.
const char* takeSummary(std::optional<app::PartnerSummary>& summary, const std::string& key,
                        const std::string& value);

}  // namespace services::peer
