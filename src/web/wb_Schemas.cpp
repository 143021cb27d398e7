// What the service's resources are made of: the standard's schemas, and our own.
#include "web/wb_Schemas.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <cstring>
#include <set>
#include <sstream>

#include "web/wb_Resource.h"

namespace services::web {

namespace {

using boost::json::object;

struct Property {
  const char* name;
  const char* type;  // of CSDL
  const char* json;
  const char* text;
  bool isArray = false;
};

struct OwnSchema {
  const char* name;
  const char* base;  // what the type is derived from
  const char* text;
  std::vector<Property> properties;
  std::vector<const char*> actions = {};
  bool hasCollection = false;
};

const std::vector<OwnSchema>& ownSchemas() {
  static const std::vector<OwnSchema> schemas = {
      {"McDaemon",
       "Resource.v1_0_0.Resource",
       "A daemon that the controller keeps running.",
       {{"State", "Edm.String", "string",
         "Unclassified, Up, Down, Starting or GoingDown, as the last scan found it."},
        {"StateSeconds", "Edm.Int64", "integer", "How long it has been in that state."},
        {"Suspended", "Edm.Boolean", "boolean", "Whether it is left down once it is down."},
        {"Restarting", "Edm.Boolean", "boolean", "Whether a restart is under way."},
        {"ProcessIds", "Edm.Int64", "integer", "Its running processes.", true},
        {"DataKiB", "Edm.Int64", "integer", "Its own memory, as last measured."}},
       {"Start", "Stop", "Restart", "Suspend", "Resume"},
       true},
      {"McPairing",
       "Resource.v1_0_0.Resource",
       "What decides which controller gives its firmware and settings to the other.",
       {{"Role", "Edm.String", "string", "The controller's role."},
        {"LoadMidplaneSerial", "Edm.String", "string", "The midplane that it was loaded in."},
        {"LastLoadedTime", "Edm.String", "string", "When it was loaded."},
        {"LastPairedPartnerSerial", "Edm.String", "string", "The partner that it paired with."},
        {"PartnerValid", "Edm.Boolean", "boolean", "Whether what is known of both holds."}}},
      {"McManager",
       "Resource.OemObject",
       "What a controller has beside the standard's properties.",
       {{"IsThisController", "Edm.Boolean", "boolean", "Whether it is the one that answers."},
        {"Daemons", "McDaemonCollection.McDaemonCollection", "object", "Its daemons."},
        {"Pairing", "McPairing.McPairing", "object", "Its pairing."}}},
      {"McNetworkProtocol",
       "Resource.OemObject",
       "All management interfaces, by their own names.",
       {{"Interfaces", "McNetworkProtocol.v1_0_0.Interface", "object", "The interfaces.", true}}},
  };
  return schemas;
}

constexpr const char* interfaceType = R"(<ComplexType Name="Interface">
<Property Name="Name" Type="Edm.String"/>
<Property Name="Managed" Type="Edm.Boolean"/>
<Property Name="Enabled" Type="Edm.Boolean"/>
<Property Name="EnabledAtNextStart" Type="Edm.Boolean"/>
</ComplexType>
)";

constexpr const char* opening = R"(<?xml version="1.0" encoding="UTF-8"?>
<edmx:Edmx xmlns:edmx="http://docs.oasis-open.org/odata/ns/edmx" Version="4.0">
)";
constexpr const char* standard = "http://redfish.dmtf.org/schemas/v1/";

void reference(std::ostream& out, const std::string& place,
               const std::vector<std::string>& namespaces) {
  out << "<edmx:Reference Uri=\"" << place << "\">\n";
  for (const auto& name : namespaces) out << "<edmx:Include Namespace=\"" << name << "\"/>\n";
  out << "</edmx:Reference>\n";
}

std::string described(const std::string& text) {
  return "<Annotation Term=\"OData.Description\" String=\"" + text + "\"/>\n";
}

void properties(std::ostream& out, const OwnSchema& schema) {
  for (const Property& property : schema.properties) {
    const bool isLink = !std::string(property.type).starts_with("Edm.") && !property.isArray;
    const char* tag = isLink ? "NavigationProperty" : "Property";
    const std::string type =
        property.isArray ? "Collection(" + std::string(property.type) + ")" : property.type;
    out << "<" << tag << " Name=\"" << property.name << "\" Type=\"" << type << "\">\n"
        << described(property.text) << "</" << tag << ">\n";
  }
}

void actions(std::ostream& out, const OwnSchema& schema) {
  if (schema.actions.empty()) return;
  out << "<ComplexType Name=\"Actions\"/>\n";
  for (const char* action : schema.actions) {
    out << "<Action Name=\"" << action << "\" IsBound=\"true\">\n<Parameter Name=\"" << schema.name
        << "\" Type=\"" << schema.name << ".v1_0_0.Actions\"/>\n</Action>\n";
  }
}

// Resources have an unversioned abstract type that the versioned one is derived from.
std::string csdlOf(const OwnSchema& schema) {
  const bool isResource = std::strcmp(schema.base, "Resource.OemObject") != 0;
  const std::string name = schema.name;
  const std::string tag = isResource ? "EntityType" : "ComplexType";
  std::ostringstream out;
  out << opening;
  reference(out, standard + std::string("Resource_v1.xml"), {"Resource", "Resource.v1_0_0"});
  out << "<edmx:DataServices>\n<Schema xmlns=\"http://docs.oasis-open.org/odata/ns/edm\" "
         "Namespace=\""
      << name << "\">\n";
  if (isResource) {
    out << "<EntityType Name=\"" << name << "\" BaseType=\"" << schema.base
        << "\" Abstract=\"true\">\n"
        << described(schema.text) << "</EntityType>\n";
  }
  actions(out, schema);
  out << "</Schema>\n<Schema xmlns=\"http://docs.oasis-open.org/odata/ns/edm\" Namespace=\"" << name
      << ".v1_0_0\">\n";
  out << "<" << tag << " Name=\"" << name << "\" BaseType=\""
      << (isResource ? name + "." + name : schema.base) << "\">\n"
      << described(schema.text);
  properties(out, schema);
  if (!schema.actions.empty()) {
    out << "<Property Name=\"Actions\" Type=\"" << name << ".v1_0_0.Actions\"/>\n";
  }
  out << "</" << tag << ">\n";
  if (!schema.actions.empty()) out << "<ComplexType Name=\"Actions\"/>\n";
  if (name == "McNetworkProtocol") out << interfaceType;
  out << "</Schema>\n</edmx:DataServices>\n</edmx:Edmx>\n";
  return out.str();
}

std::string collectionCsdlOf(const OwnSchema& schema) {
  const std::string name = schema.name + std::string("Collection");
  std::ostringstream out;
  out << opening;
  reference(out, standard + std::string("Resource_v1.xml"), {"Resource.v1_0_0"});
  out << "<edmx:DataServices>\n<Schema xmlns=\"http://docs.oasis-open.org/odata/ns/edm\" "
         "Namespace=\""
      << name << "\">\n<EntityType Name=\"" << name
      << "\" BaseType=\"Resource.v1_0_0.ResourceCollection\">\n<NavigationProperty "
         "Name=\"Members\" Type=\"Collection("
      << schema.name << "." << schema.name
      << ")\"/>\n</EntityType>\n</Schema>\n</edmx:DataServices>\n</edmx:Edmx>\n";
  return out.str();
}

object jsonTypeOf(const Property& property) {
  object type{{"type", property.json}, {"description", property.text}, {"readonly", true}};
  if (!property.isArray) return type;
  return {{"type", "array"}, {"items", std::move(type)}, {"description", property.text}};
}

std::string jsonOf(const OwnSchema& schema) {
  object all;
  for (const Property& property : schema.properties) all[property.name] = jsonTypeOf(property);
  const std::string name = schema.name;
  return boost::json::serialize(
      object{{"$schema", "http://redfish.dmtf.org/schemas/v1/redfish-schema-v1.json"},
             {"title", "#" + name + ".v1_0_0." + name},
             {"definitions", object{{name, object{{"type", "object"},
                                                  {"description", schema.text},
                                                  {"properties", std::move(all)}}}}},
             {"$ref", "#/definitions/" + name}});
}

std::vector<SchemaFile> listSchemas() {
  std::vector<SchemaFile> files;
  const auto add = [&](const std::string& type) {
    const std::string id = type.substr(0, type.rfind('.'));
    const bool isOwn = type.starts_with("Mc");
    const std::string place =
        isOwn ? "/redfish/v1/Schemas/" + id + ".json" : standard + id + ".json";
    if (std::ranges::find(files, id, &SchemaFile::id) == files.end()) {
      files.push_back({id, type, place, isOwn});
    }
  };
  for (const Resource& resource : allResources()) add(resource.type);
  for (const OwnSchema& schema : ownSchemas()) {
    add(std::string(schema.name) + ".v1_0_0." + schema.name);
  }
  return files;
}

}  // namespace

const std::vector<SchemaFile>& schemaFiles() {
  static const std::vector<SchemaFile> files = listSchemas();
  return files;
}

std::string metadata() {
  std::ostringstream out;
  out << opening;
  for (const SchemaFile& file : schemaFiles()) {
    const std::string name = file.type.substr(0, file.type.find('.'));
    const std::string place = file.isOwn ? "/redfish/v1/Schemas/" : standard;
    reference(out, place + name + "_v1.xml", {name, file.id});
  }
  std::set<std::string> collections;
  for (const Resource& resource : allResources()) {
    const std::string name = std::string(resource.type);
    if (resource.members != nullptr) {
      collections.insert(name.substr(name.rfind('.') + 1) + "Collection");
    }
  }
  for (const auto& name : collections) {
    const std::string place = name.starts_with("Mc") ? "/redfish/v1/Schemas/" : standard;
    reference(out, place + name + "_v1.xml", {name});
  }
  reference(out, standard + std::string("RedfishExtensions_v1.xml"), {"RedfishExtensions.v1_0_0"});
  out << "<edmx:DataServices>\n<Schema xmlns=\"http://docs.oasis-open.org/odata/ns/edm\" "
         "Namespace=\"Service\">\n<EntityContainer Name=\"Service\" "
         "Extends=\"ServiceRoot.v1_17_0.ServiceContainer\"/>\n</Schema>\n</edmx:DataServices>\n"
         "</edmx:Edmx>\n";
  return out.str();
}

std::string ownSchema(const std::string& file) {
  for (const OwnSchema& schema : ownSchemas()) {
    const std::string name = schema.name;
    if (file == name + "_v1.xml") return csdlOf(schema);
    if (file == name + ".v1_0_0.json") return jsonOf(schema);
    if (schema.hasCollection && file == name + "Collection_v1.xml") return collectionCsdlOf(schema);
  }
  return {};
}

}  // namespace services::web
