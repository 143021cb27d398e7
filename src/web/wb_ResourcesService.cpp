// The service itself: its root, registries, schemas and privileges.
#include <algorithm>
#include <boost/json/array.hpp>
#include <cstring>

#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"
#include "web/wb_Schemas.h"

namespace services::web {

using boost::json::array;
using boost::json::object;

namespace {

object root(const Snapshot& now, const Keys&) {
  const std::string v1 = "/redfish/v1/";
  object shown{{"RedfishVersion", "1.20.0"},
               {"Product", "Management controller"},
               {"ProtocolFeaturesSupported", object{{"SelectQuery", true},
                                                    {"FilterQuery", true},
                                                    {"OnlyMemberQuery", true},
                                                    {"TopSkipQuery", true},
                                                    {"ExcerptQuery", false},
                                                    {"ExpandQuery", object{{"ExpandAll", true},
                                                                           {"Links", false},
                                                                           {"NoLinks", true},
                                                                           {"Levels", true},
                                                                           {"MaxLevels", 1}}}}},
               {"Links", object{{"Sessions", link(v1 + "SessionService/Sessions")}}}};
  for (const char* part :
       {"AccountService", "CertificateService", "Chassis", "EventService", "JsonSchemas",
        "Managers", "Registries", "SessionService", "TelemetryService", "UpdateService"}) {
    shown[part] = link(v1 + part);
  }
  static_cast<void>(now);
  return shown;
}

Keys registries(const Snapshot&, const Keys&) { return {"Base", "Mc"}; }

object registry(const Snapshot&, const Keys& keys) {
  const bool isOwn = keys[0] == "Mc";
  const object place =
      isOwn ? object{{"Language", "en"}, {"Uri", "/redfish/v1/Registries/Mc/Mc.1.0.0"}}
            : object{{"Language", "en"},
                     {"PublicationUri", "https://redfish.dmtf.org/registries/Base.1.18.0.json"}};
  return {{"Registry", isOwn ? "Mc.1.0" : "Base.1.18"},
          {"Languages", array{"en"}},
          {"Location", array{place}}};
}

object messageShown(const Message& message) {
  array types;
  for (int i = 0; i < message.arguments; ++i) types.push_back("string");
  return {{"Description", message.text},         {"Message", message.text},
          {"MessageSeverity", message.severity}, {"NumberOfArgs", message.arguments},
          {"ParamTypes", std::move(types)},      {"Resolution", message.resolution}};
}

object ownMessages(const Snapshot&, const Keys&) {
  object all;
  for (const Message& message : messages()) {
    if (std::strncmp(message.registry, "Mc.", 3) == 0) all[message.id] = messageShown(message);
  }
  return {{"Language", "en"},
          {"OwningEntity", "Mc"},
          {"RegistryPrefix", "Mc"},
          {"RegistryVersion", "1.0.0"},
          {"Messages", std::move(all)}};
}

Keys schemas(const Snapshot&, const Keys&) {
  Keys names;
  for (const SchemaFile& file : schemaFiles()) names.push_back(file.id);
  return names;
}

object schema(const Snapshot&, const Keys& keys) {
  const auto& files = schemaFiles();
  const auto file = std::ranges::find(files, keys[0], &SchemaFile::id);
  const object place = file->isOwn ? object{{"Language", "en"}, {"Uri", file->place}}
                                   : object{{"Language", "en"}, {"PublicationUri", file->place}};
  return {{"Schema", "#" + file->type}, {"Languages", array{"en"}}, {"Location", array{place}}};
}

const char* privilegeOf(http::Access access, const std::string& entity) {
  switch (access) {
    case http::Access::Administer:
      return entity == "ManagerAccount" || entity == "ManagerAccountCollection"
                 ? "ConfigureUsers"
                 : "ConfigureManager";
    case http::Access::Operate:
      return "ConfigureComponents";
    default:
      return "Login";
  }
}

array privilege(const char* name) { return {object{{"Privilege", array{name}}}}; }

// What must be granted for each method of an entity; reading takes the login alone.
object mapping(const std::string& entity, const std::string& pattern) {
  object operations{{"GET", privilege("Login")}, {"HEAD", privilege("Login")}};
  for (const char* method : {"PATCH", "PUT", "POST", "DELETE"}) {
    const auto change = std::ranges::find_if(allChanges(), [&](const Change& one) {
      return std::strcmp(one.method, method) == 0 && std::string(one.pattern).starts_with(pattern);
    });
    const auto access = change == allChanges().end() ? http::Access::Administer : change->access;
    operations[method] = privilege(privilegeOf(access, entity));
  }
  return {{"Entity", entity}, {"OperationMap", std::move(operations)}};
}

object privileges(const Snapshot&, const Keys&) {
  array mappings;
  for (const Resource& resource : allResources()) {
    const std::string type = resource.type;
    mappings.push_back(mapping(type.substr(type.rfind('.') + 1), resource.pattern));
  }
  return {{"PrivilegesUsed", array{"Login", "ConfigureManager", "ConfigureUsers", "ConfigureSelf",
                                   "ConfigureComponents"}},
          {"OEMPrivilegesUsed", array{}},
          {"Mappings", std::move(mappings)}};
}

constexpr Resource resources[] = {
    {"/redfish/v1/", "ServiceRoot.v1_17_0.ServiceRoot", "Root Service", SystemAlone, root, nullptr,
     http::Access::Anyone},
    {"/redfish/v1/Registries/{}", "MessageRegistryFile.v1_1_0.MessageRegistryFile", "Registry {}",
     SystemAlone, registry, registries, http::Access::Read, "Registries"},
    {"/redfish/v1/Registries/Mc/Mc.1.0.0", "MessageRegistry.v1_6_0.MessageRegistry",
     "Messages of this controller", SystemAlone, ownMessages},
    {"/redfish/v1/JsonSchemas/{}", "JsonSchemaFile.v1_1_0.JsonSchemaFile", "Schema {}", SystemAlone,
     schema, schemas, http::Access::Read, "Schemas"},
    {"/redfish/v1/AccountService/PrivilegeMap", "PrivilegeRegistry.v1_1_5.PrivilegeRegistry",
     "Privileges", SystemAlone, privileges},
};

}  // namespace

std::span<const Resource> serviceResources() { return resources; }

}  // namespace services::web
