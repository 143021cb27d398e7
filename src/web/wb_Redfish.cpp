// The Redfish service: routes made of the tables of resources and changes.
#include "web/wb_Redfish.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <cstring>
#include <functional>
#include <optional>

#include "web/wb_Messages.h"
#include "web/wb_Query.h"
#include "web/wb_ResourceParts.h"
#include "web/wb_Schemas.h"

namespace services::web {

using boost::json::array;
using boost::json::object;
using boost::json::value;
using http::Request;
using http::Response;

namespace {

constexpr const char* jsonType = "application/json;charset=utf-8";

std::size_t braces(const std::string& pattern) {
  return static_cast<std::size_t>(std::ranges::count(pattern, '{'));
}

// Whether what `pattern` names lies at or below `above`.
bool isBelow(const std::string& pattern, const std::string& above) {
  return pattern.starts_with(above) &&
         (pattern.size() == above.size() || pattern[above.size()] == '/');
}

// The resources whose keys decide whether a path of the pattern exists.
std::vector<const Resource*> deciding(const std::string& pattern) {
  std::vector<const Resource*> rows;
  for (const Resource& row : allResources()) {
    if (row.members != nullptr && isBelow(pattern, row.pattern)) rows.push_back(&row);
  }
  return rows;
}

unsigned int needsOf(const std::string& pattern) {
  unsigned int needs = SystemAlone;
  for (const Resource* row : deciding(pattern)) needs |= row->needs & ~OfWhole;
  return needs;
}

const Resource* resourceAt(const std::string& pattern) {
  const auto found = std::ranges::find_if(
      allResources(), [&](const Resource& row) { return pattern == row.pattern; });
  return found == allResources().end() ? nullptr : &*found;
}

bool exists(const std::string& pattern, const Snapshot& now, const Keys& keys) {
  const Resource* resource = resourceAt(pattern);
  if (resource != nullptr && resource->isThere && !resource->isThere(now, keys)) return false;
  return std::ranges::all_of(deciding(pattern), [&](const Resource* row) {
    const auto last = static_cast<long>(braces(row->pattern)) - 1;
    const Keys members = row->members(now, Keys(keys.begin(), keys.begin() + last));
    return std::ranges::find(members, keys[static_cast<std::size_t>(last)]) != members.end();
  });
}

// What the partner alone can change.
bool isPartners(const std::string& pattern, const Snapshot& now, const Keys& keys) {
  if (!pattern.starts_with("/redfish/v1/Managers/{}/")) return false;
  const ControllerFacts* facts = now.controller(keys[0]);
  return facts != nullptr && !facts->isThis;
}

// The daemon or the log that alone is asked for.
std::string onlyOf(const std::string& pattern, const Keys& keys) {
  for (const char* above :
       {"/redfish/v1/Managers/{}/Oem/Mc/Daemons/{}", "/redfish/v1/Managers/{}/LogServices/{}"}) {
    if (isBelow(pattern, above)) return keys[1];
  }
  return "";
}

std::string nameOf(const Resource& row, const Keys& keys) {
  std::string name = row.name;
  const auto place = name.find("{}");
  return place == std::string::npos ? name : name.replace(place, 2, keys.back());
}

object whole(const Resource& row, const Snapshot& now, const Keys& keys) {
  const std::string self = pathOf(row.pattern, keys);
  const bool isRoot = self == "/redfish/v1/";
  const std::string id = isRoot ? "RootService" : self.substr(self.rfind('/') + 1);
  object shown{{"@odata.id", self},
               {"@odata.type", std::string("#") + row.type},
               {"Id", id},
               {"Name", nameOf(row, keys)}};
  for (auto& member : row.render(now, keys)) shown.insert(member);
  return shown;
}

std::string etagOf(const std::string& body) {
  return "W/\"" + std::to_string(std::hash<std::string>()(body)) + "\"";
}

// The methods of a path, as Allow names them.
std::string allowedAt(const std::string& pattern, bool readOnly) {
  std::string allowed = "GET, HEAD";
  if (readOnly) return allowed;
  for (const Change& change : allChanges()) {
    if (pattern == change.pattern) allowed += std::string(", ") + change.method;
  }
  return allowed;
}

Response json(const object& shown, const std::string& pattern, bool readOnly = false) {
  Response response{.body = boost::json::serialize(shown), .type = jsonType};
  response.headers = {{"OData-Version", "4.0"}, {"Allow", allowedAt(pattern, readOnly)}};
  return response;
}

// The standard has clients name the version that they speak, if they like.
bool speaksOther(const Request& request) {
  const std::string& version = request.header("odata-version");
  return !version.empty() && version != "4.0";
}

Response missing(const Request& request) {
  return messageResponse("ResourceMissingAtURI", {request.path});
}

Response readResource(const Resource& row, const Sources& sources, const Request& request) {
  Query query;
  if (speaksOther(request)) return messageResponse("PreconditionFailed");
  if (auto refusal = readQuery(request, false, query)) return *refusal;
  const Keys& keys = request.captured;
  const Snapshot now =
      readSnapshot(sources, row.needs | needsOf(row.pattern), onlyOf(row.pattern, keys));
  if (!exists(row.pattern, now, keys)) return missing(request);
  object shown = whole(row, now, keys);
  const std::string etag = etagOf(boost::json::serialize(shown));
  applySelect(query.select, shown);
  Response response = json(shown, row.pattern, isPartners(row.pattern, now, keys));
  const std::string type = row.type;
  response.headers.emplace_back("ETag", etag);
  response.headers.emplace_back("Link", "<http://redfish.dmtf.org/schemas/v1/" +
                                            type.substr(0, type.rfind('.')) +
                                            ".json>; rel=describedby");
  if (request.header("if-none-match") == etag) {
    response.status = 304;
    response.body.clear();
  }
  return response;
}

std::string collectionType(const Resource& row) {
  const std::string type = row.type;
  const std::string name = type.substr(type.rfind('.') + 1) + "Collection";
  return "#" + name + "." + name;
}

// The members that the filter lets through, as far as they are wanted; `count` of all of them.
array membersOf(const Resource& row, const Snapshot& now, const Keys& before, const Query& query,
                std::size_t& count) {
  array members;
  count = 0;
  Keys keys = before;
  keys.emplace_back();
  const bool isWhole = row.expanded || query.expand;
  for (const std::string& last : row.members(now, before)) {
    keys.back() = last;
    const bool isHere = count >= query.skip && members.size() < query.top;
    if (query.filter.empty() && !isHere) {
      ++count;
      continue;
    }
    object shown =
        isWhole || !query.filter.empty() ? whole(row, now, keys) : link(pathOf(row.pattern, keys));
    if (!isWanted(query.filter, shown)) continue;
    ++count;
    if (!isHere) continue;
    if (!isWhole) shown = link(pathOf(row.pattern, keys));
    if (isWhole) applySelect(query.select, shown);
    members.push_back(std::move(shown));
  }
  return members;
}

std::string collectionPattern(const Resource& row) {
  const std::string pattern = row.pattern;
  return pattern.substr(0, pattern.size() - std::strlen("/{}"));
}

// Where the page after this one is.
std::string nextPage(const std::string& self, const Request& request, const Query& query) {
  std::string next = self + "?$skip=" + std::to_string(query.skip + query.top);
  for (const auto& [name, text] : request.query) {
    if (name != "$skip" && name.find_first_of("&#") == std::string::npos &&
        text.find_first_of("&#%+") == std::string::npos) {
      next.append("&").append(name).append("=").append(text);
    }
  }
  return next;
}

Response readCollection(const Resource& row, const Sources& sources, const Request& request) {
  Query query;
  if (speaksOther(request)) return messageResponse("PreconditionFailed");
  if (auto refusal = readQuery(request, true, query)) return *refusal;
  const std::string pattern = collectionPattern(row);
  const bool isWhole = row.expanded || query.expand || query.only || !query.filter.empty();
  const unsigned int needs = isWhole ? row.needs : row.needs & ~OfWhole;
  const Snapshot now =
      readSnapshot(sources, needs | needsOf(pattern), onlyOf(pattern, request.captured));
  if (!exists(pattern, now, request.captured)) return missing(request);
  const std::string self = pathOf(pattern, request.captured);
  std::size_t count = 0;
  array members = membersOf(row, now, request.captured, query, count);
  if (query.only && count == 1) {
    Keys keys = request.captured;
    keys.push_back(row.members(now, request.captured).front());
    return json(whole(row, now, keys), row.pattern);
  }
  object shown{{"@odata.id", self},
               {"@odata.type", collectionType(row)},
               {"Name", row.collectionName},
               {"Members@odata.count", count}};
  if (query.skip + members.size() < count && query.top > 0) {
    shown["Members@odata.nextLink"] = nextPage(self, request, query);
  }
  shown["Members"] = std::move(members);
  return json(shown, pattern);
}

// The object that a request brings; a refusal where it brings none.
std::optional<Response> readBody(const Request& request, object& body) {
  boost::json::parse_options options;
  options.max_depth = deepestBody;
  boost::json::error_code error;
  const value parsed = boost::json::parse(request.body, error, {}, options);
  if (error) return messageResponse("MalformedJSON");
  if (!parsed.is_object()) return messageResponse("UnrecognizedRequestBody");
  body = parsed.as_object();
  return std::nullopt;
}

// Whether the client wants to change another state than there is.
bool isStale(const Request& request, const Resource* row, const Snapshot& now) {
  const std::string& wanted = request.header("if-match");
  if (wanted.empty() || wanted == "*" || row == nullptr) return false;
  return wanted != etagOf(boost::json::serialize(whole(*row, now, request.captured)));
}

Response change(const Change& row, const Sources& sources, const Request& request) {
  object body;
  // A password over plain HTTP would be read by others; the plain listener takes no body anyway.
  if (!request.secure) return messageResponse("NeedsTls", {"it may hold a secret"});
  if (speaksOther(request)) return messageResponse("PreconditionFailed");
  if (row.takesBody && !request.body.empty()) {
    if (auto refusal = readBody(request, body)) return *refusal;
  } else if (row.takesBody && std::strcmp(row.method, "PATCH") == 0) {
    return messageResponse("MalformedJSON");
  }
  const Keys& keys = request.captured;
  const Snapshot now =
      readSnapshot(sources, row.needs | needsOf(row.pattern), onlyOf(row.pattern, keys));
  if (!exists(row.pattern, now, keys)) return missing(request);
  if (isPartners(row.pattern, now, keys)) {
    return messageResponse("ChangeRefused", {"it is the partner's, which takes it itself"});
  }
  const Resource* resource = resourceAt(row.pattern);
  if (isStale(request, resource, now)) return messageResponse("PreconditionFailed");
  Response response = row.make({request, keys, now, sources, body});
  if (response.status == 204 && std::strcmp(row.method, "PATCH") == 0 && resource != nullptr) {
    Request plain = request;
    plain.query.clear();
    plain.headers.erase("if-none-match");
    return readResource(*resource, sources, plain);
  }
  response.headers.emplace_back("OData-Version", "4.0");
  if (response.status == 204) response.type.clear();
  if (response.status == 201) response.type = jsonType;
  return response;
}

Response versions(const Request&) { return json({{"v1", "/redfish/v1/"}}, ""); }

Response odata(const Request&) {
  array all;
  for (const Resource& row : allResources()) {
    const std::string path = row.pattern;
    if (path.find('{') != std::string::npos) continue;
    all.push_back(
        object{{"name", path.substr(path.rfind('/') + 1)}, {"kind", "Singleton"}, {"url", path}});
  }
  all[0].as_object()["name"] = "Service";
  return json({{"@odata.context", "/redfish/v1/$metadata"}, {"value", std::move(all)}}, "");
}

Response metadataDocument(const Request&) {
  Response response{.body = metadata(), .type = "application/xml;charset=utf-8"};
  response.headers = {{"OData-Version", "4.0"}, {"Allow", "GET, HEAD"}};
  return response;
}

Response schemaDocument(const Request& request) {
  Response response{.body = ownSchema(request.captured[0])};
  if (response.body.empty()) return missing(request);
  const bool isXml = request.captured[0].ends_with(".xml");
  response.type = isXml ? "application/xml;charset=utf-8" : jsonType;
  return response;
}

void addResource(const Resource& row, const Sources& sources, std::vector<http::Route>& routes) {
  routes.push_back({"GET", row.pattern, row.access, [&row, &sources](const Request& request) {
                      return readResource(row, sources, request);
                    }});
  if (row.members == nullptr) return;
  routes.push_back(
      {"GET", collectionPattern(row), row.access,
       [&row, &sources](const Request& request) { return readCollection(row, sources, request); }});
}

}  // namespace

const std::vector<Resource>& allResources() {
  static const std::vector<Resource> all = [] {
    std::vector<Resource> rows;
    for (const auto part :
         {serviceResources(), managerResources(), daemonResources(), logResources(),
          telemetryResources(), eventResources(), certificateResources(), accessResources()}) {
      rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
  }();
  return all;
}

const std::vector<Change>& allChanges() {
  static const std::vector<Change> all = [] {
    std::vector<Change> rows;
    for (const auto part : {managerChanges(), daemonChanges(), eventChanges(), certificateChanges(),
                            accessChanges()}) {
      rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
  }();
  return all;
}

std::string pathOf(const std::string& pattern, const Keys& keys) {
  std::string path;
  auto key = keys.begin();
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] != '{') {
      path += pattern[i];
    } else {
      path += *key++;
      ++i;
    }
  }
  return path;
}

std::vector<http::Route> redfishRoutes(const Sources& sources) {
  using http::Access;
  std::vector<http::Route> routes = {
      {"GET", "/redfish", Access::Anyone, versions},
      {"GET", "/redfish/v1/odata", Access::Anyone, odata},
      {"GET", "/redfish/v1/$metadata", Access::Anyone, metadataDocument},
      {"GET", "/redfish/v1/Schemas/{}", Access::Anyone, schemaDocument},
      {"GET", "/redfish/v1/EventService/SSE", Access::Read,
       [&sources](const Request& request) { return listenToEvents(sources, request); }},
  };
  for (const Resource& row : allResources()) addResource(row, sources, routes);
  for (const Change& row : allChanges()) {
    routes.push_back(
        {row.method, row.pattern, row.access,
         [&row, &sources](const Request& request) { return change(row, sources, request); }});
  }
  return routes;
}

}  // namespace services::web
