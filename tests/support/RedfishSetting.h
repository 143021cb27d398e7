// The Redfish service without listeners: its routes over what they read from.
#pragma once

#include "support/Users.h"
#include "web/wb_Delivery.h"
#include "web/wb_EventFeed.h"
#include "web/wb_Redfish.h"

namespace test {

struct RedfishSetting {
  const SysInfoSetting sysInfo{{{"MidplaneSN", "MP1"}}, {}};
  const Users users;
  services::web::Audit audit;
  services::web::Login login{audit, [] { return std::int64_t{0}; }, 60};
  services::web::RecentLines lines;
  services::web::EventFeed feed;
  services::web::Delivery delivery{"", {}};
  services::web::Sources sources{audit, login, lines, feed, 0, &delivery};
  const services::http::Router router{services::web::redfishRoutes(sources)};
};

}  // namespace test
