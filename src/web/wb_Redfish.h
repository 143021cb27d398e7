// The Redfish service: routes made of the tables of resources and changes.
#pragma once

#include <string>
#include <vector>

#include "host/web/ht_Site.h"
#include "web/wb_Resource.h"

namespace services::web {

/// The routes of all that there is below "/redfish". The sources outlive them.
std::vector<http::Route> redfishRoutes(const Sources& sources);

/// How long a JSON body may nest.
inline constexpr std::size_t deepestBody = 16;

}  // namespace services::web
