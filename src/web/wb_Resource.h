// What the Redfish service (DSP0266) consists of, as tables: what is there, and what may be done.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/web/ht_Message.h"
#include "web/wb_Snapshot.h"

namespace boost::json {
class object;
}

namespace services::web {

/// What stands at the braces of a pattern.
using Keys = std::vector<std::string>;

/// A resource, or those of a collection.
struct Resource {
  /// Its path; braces stand for a key. One that ends in "/{}" has the collection above it.
  const char* pattern;
  const char* type;  ///< "Manager.v1_24_0.Manager"
  const char* name;
  unsigned int needs;  ///< of the snapshot
  /// Its properties but its id, type and name. It exists for these keys.
  boost::json::object (*render)(const Snapshot& snapshot, const Keys& keys);
  /// The last keys that there are beneath those before them; null where the pattern has no last
  /// one.
  Keys (*members)(const Snapshot& snapshot, const Keys& before) = nullptr;
  http::Access access = http::Access::Read;
  const char* collectionName = "";
  bool expanded = false;  ///< the collection always shows its members whole
  /// Whether it is there, which its keys do not tell; null: always.
  bool (*isThere)(const Snapshot& snapshot, const Keys& keys) = nullptr;
};

/// What a change is made with.
struct Call {
  const http::Request& request;
  const Keys& keys;
  const Snapshot& snapshot;
  const Sources& sources;
  const boost::json::object& body;
};

/// What may be done to a resource beside reading it.
struct Change {
  const char* method;
  const char* pattern;
  http::Access access;
  unsigned int needs;
  /// Answers what the client gets. For PATCH a status of 204 has the resource itself sent.
  http::Response (*make)(const Call& call);
  bool takesBody = true;
};

/// The tables of the service, room by room of what they show.
std::span<const Resource> serviceResources();  ///< the root, registries, schemas
std::span<const Resource> managerResources();  ///< the enclosure, its controllers and firmware
std::span<const Resource> daemonResources();   ///< the daemons and the pairing
std::span<const Resource> logResources();
std::span<const Resource> telemetryResources();
std::span<const Resource> eventResources();
std::span<const Resource> accessResources();  ///< accounts, roles, sessions
std::span<const Resource> certificateResources();
std::span<const Change> certificateChanges();
std::span<const Change> managerChanges();
std::span<const Change> daemonChanges();
std::span<const Change> eventChanges();
std::span<const Change> accessChanges();

/// Opens a stream of events, as the request wants it.
http::Response listenToEvents(const Sources& sources, const http::Request& request);

/// All of them, in that order.
const std::vector<Resource>& allResources();
const std::vector<Change>& allChanges();

/// A pattern with its braces filled in.
std::string pathOf(const std::string& pattern, const Keys& keys);

}  // namespace services::web
