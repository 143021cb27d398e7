// The portals that daemons have registered with the host.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "util/st_Tokens.h"

namespace services::app {

/// A daemon's registration with the host: the process that speaks for it.
class Portal {
 public:
  explicit Portal(int pid) : m_pid(pid) {}
  int getPID() const { return m_pid; }

 private:
  int m_pid;
};

/// The host's registry of portals. Any thread may call.
class ApplicationService {
 public:
  /// The portal of the daemon with that name token, or null. It stays valid for its holder when
  /// the registration ends.
  static std::shared_ptr<const Portal> LookupPortalPrefix(strings::stringtoken daemon);

  /// Registers a process as the daemon's portal; the latest registration stands.
  static std::shared_ptr<const Portal> registerPortal(const std::string& daemon, int pid);
  /// Ends that registration, unless another has taken its place, be it of the same process.
  static void unregisterPortal(const std::string& daemon,
                               const std::shared_ptr<const Portal>& portal);
  /// The daemons' names and the processes that speak for them.
  static std::vector<std::pair<std::string, int>> listPortals();
};

}  // namespace services::app
