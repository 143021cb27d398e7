// The portals that daemons have registered with the host.
#include "host/service/ap_ApplicationService.h"

#include <map>
#include <mutex>

#include "host/base/st_StringRepository.h"

namespace services::app {

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<const Portal>> portals;  // by the daemon's name
};

Registry& registry() {
  static Registry only;
  return only;
}

}  // namespace

std::shared_ptr<const Portal> ApplicationService::LookupPortalPrefix(strings::stringtoken daemon) {
  const std::lock_guard lock(registry().mutex);
  const auto found = registry().portals.find(strings::StringRepository::toString(daemon));
  return found == registry().portals.end() ? nullptr : found->second;
}

std::shared_ptr<const Portal> ApplicationService::registerPortal(const std::string& daemon,
                                                                 int pid) {
  const std::lock_guard lock(registry().mutex);
  return registry().portals[daemon] = std::make_shared<const Portal>(pid);
}

void ApplicationService::unregisterPortal(const std::string& daemon,
                                          const std::shared_ptr<const Portal>& portal) {
  const std::lock_guard lock(registry().mutex);
  const auto found = registry().portals.find(daemon);
  if (found != registry().portals.end() && found->second == portal) registry().portals.erase(found);
}

std::vector<std::pair<std::string, int>> ApplicationService::listPortals() {
  const std::lock_guard lock(registry().mutex);
  std::vector<std::pair<std::string, int>> all;
  for (const auto& [daemon, portal] : registry().portals) {
    all.emplace_back(daemon, portal->getPID());
  }
  return all;
}

}  // namespace services::app
