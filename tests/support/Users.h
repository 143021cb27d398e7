// The users of a test.
#pragma once

#include "support/SysInfoSetting.h"
#include "sysinfo/manager/us_UserManager.h"

namespace test {

/// Adam, who comes by TLS, has the password "first pass" and may do this.
inline services::sysinfo::Rows adamAs(const char* rights) {
  return {{{"user adam", "Interfaces"}, "Https"},
          {{"user adam", "Rights"}, rights},
          {{"user adam", "Password"}, "first pass"}};
}

/// These users and no others while this lives.
struct Users : Unique {
  explicit Users(const services::sysinfo::Rows& rows = adamAs("Administrator")) { load(rows); }
  ~Users() { load({}); }

  static void load(const services::sysinfo::Rows& rows) {
    services::user::UserManager::getManager()->load(rows);
  }
};

}  // namespace test
