// The ten management interfaces as data, and the rules about switching them: nothing but values.
#pragma once

#include <span>
#include <vector>

#include "app/supervision/app_Tokens.h"

namespace framework {
struct PropertyFinding;
}
namespace services::sysinfo {
class SysInfo;
}

namespace services::app {

/// What carries an interface, and so how it is switched.
enum class Carrier {
  Listener,   ///< a listener of the web server
  Daemon,     ///< a daemon; a request to suspend alone stays one
  DaemonNow,  ///< a daemon that is always started or stopped
  SmisPair,   ///< the CIM server and its companion, which both SMI-S forms share
  Console,    ///< the host's console
};

struct ManagementInterface {
  strings::stringtoken name;
  bool (*wanted)(const sysinfo::SysInfo& sysInfo);  ///< the state that the settings ask for
  Carrier carrier;
  strings::stringtoken daemon = strings::tGSendOfList;
  const char* listener = nullptr;
  bool wayBack = false;  ///< an operator could come back through it
};

/// All of them.
std::span<const ManagementInterface> managementInterfaces();
/// The interface of that name, or null.
const ManagementInterface* findInterface(strings::stringtoken name);
/// Adds what is wrong with an entry of a list of interfaces. A blank entry is skipped.
void checkInterfaceName(const char* entry, std::vector<framework::PropertyFinding>& findings);

/// The two daemons of the SMI-S provider.
inline constexpr strings::stringtoken cimServer = strings::tGSsfcbd;
inline constexpr strings::stringtoken cimCompanion = strings::digestOf("slpd");

/// The other form of SMI-S.
strings::stringtoken otherSmisForm(strings::stringtoken form);

/// What a change of the SMI-S settings asks of the two daemons.
enum class SmisChange { Start, Stop, Restart };
/// `anyUp`: one of the two forms was up before the change.
SmisChange decideSmisChange(bool enabled, bool anyUp);

/// How a way by which an operator could come back stands.
struct WayBack {
  bool daemon;   ///< a daemon carries it
  bool managed;  ///< it can be switched
  bool askedUp;  ///< it was last switched on
  bool seenUp;   ///< it works at present
};
/// Whether none is left and the service had a hand in it: one at least is managed. A managed daemon
/// counts as what it was switched to, since it takes its time to follow; all else as what is seen.
bool isShutOut(std::span<const WayBack> ways);

}  // namespace services::app
