// The events that tell the services of changes of users.
#pragma once

#include <memory>

#include "sysinfo/manager/si_Untold.h"
#include "sysinfo/record/us_User.h"

namespace services::user {

/// Raises userChanged or userAccessChanged with a copy of the record. An event of the same user
/// that still waits is superseded, and the newer one is userAccessChanged if either was; but one
/// with access to Smis goes before one without, since it has the SMI-S daemons read the users anew.
void raiseUserChange(strings::stringtoken event, const User& user,
                     const std::shared_ptr<sysinfo::Change>& change);

/// Makes up for what was lost or not written (see si_Untold.h), if anything was, by the event for
/// users who are not known any more: with a deleted user without a name, who writes nothing into
/// the SNMP agent's file, and has access to Smis in userAccessChanged.
void makeUpForLost();

}  // namespace services::user
