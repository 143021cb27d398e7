// What the controller tells Prometheus.
#pragma once

#include "host/web/ht_Message.h"
#include "web/wb_Figures.h"
#include "web/wb_Snapshot.h"

namespace services::web {

/// The metrics of a snapshot in Prometheus' text format. The number of series is bounded by the
/// configuration: 14 for each daemon, one for each interface, and at most 80 beside.
std::string metricsOf(const Snapshot& now, const Figures& figures, std::uint64_t refusals);

/// The same as a response.
http::Response metricsPage(const Sources& sources);

}  // namespace services::web
