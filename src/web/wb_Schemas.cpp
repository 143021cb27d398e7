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

using boost::json::array;
using boost::json::object;

struct Property {
  const char* name;
  const char* type;  // of CSDL; of one with parts its own name
  const char* json;
  const char* text;
  bool isArray = false;
  std::vector<Property> parts = {};
};

struct Action {
  const char* name;
  std::vector<Property> parameters = {};
};

struct OwnSchema {
  const char* name;
  const char* base;  // what the type is derived from
  const char* text;
  std::vector<Property> properties;
  std::vector<Action> actions = {};
  bool hasCollection = false;
};

Property text(const char* name, const char* about) { return {name, "Edm.String", "string", about}; }
Property number(const char* name, const char* about) {
  return {name, "Edm.Int64", "integer", about};
}
Property flag(const char* name, const char* about) {
  return {name, "Edm.Boolean", "boolean", about};
}
Property time(const char* name, const char* about) {
  return {name, "Edm.DateTimeOffset", "string", about};
}
Property listOf(Property one) {
  one.isArray = true;
  return one;
}

constexpr const char* entity = "Resource.v1_0_0.Resource";

Property suspension() {
  return {"Suspension",
          "Suspension",
          "object",
          "Who suspended it; null where nobody did.",
          false,
          {text("By", "Who it was."), text("Reason", "What he gave as the reason."),
           time("Until", "When it ends; null: when somebody resumes the daemon.")}};
}

Property restarts() {
  return {"Restarts",
          "Restarts",
          "object",
          "How often supervision restarted it.",
          false,
          {number("LastHour", "Within the last hour."), number("LastDay", "Within the last day."),
           number("Ever", "Since its history began.")}};
}

Property secondsDown() {
  return {"SecondsDown", "SecondsDown",
          "object",      "How long it was down each time; null where it never was.",
          false,         {number("Mean", "On average."), number("Worst", "At worst.")}};
}

OwnSchema daemonSchema() {
  return {
      "McDaemon",
      entity,
      "A daemon that the controller keeps running.",
      {{"Status", "Resource.Status", "object", "Its state and health in the standard's words."},
       text("State",
            "Unclassified, Up, Down, Starting or GoingDown, as the last scan found it; Ended when "
            "what it found up runs no more, Up? where only strangers of that name do."),
       number("StateSeconds", "How long it has been in that state."),
       flag("Suspended", "Whether it is left down once it is down."),
       suspension(),
       flag("Restarting", "Whether a restart is under way."),
       number("Generation", "How often its processes were all replaced by others, and one."),
       listOf(number("ProcessIds", "Its running processes.")),
       number("DataKiB", "Its own memory, as last measured."),
       text("Marks", "What is to be seen at once; empty for nothing."),
       number("Failing", "How often it was restarted of late, if that is too often; else 0."),
       restarts(),
       secondsDown(),
       text("LastOutcome", "The last command for it, and what became of that."),
       text("NextStep", "What comes next if nothing but time passes; empty for nothing."),
       text("Health", "What it last answered when it was asked; null where it is not asked."),
       listOf(text("Why", "The rule that decides, and what would change it, line by line.")),
       {"History", "McDaemonHistory.McDaemonHistory", "object", "What happened to it."},
       time("AsOf", "When it was looked at.")},
      {{"Start"},
       {"Stop"},
       {"Restart"},
       {"Suspend",
        {text("Reason", "Why, in at most 80 bytes."),
         number("Seconds", "How long it lasts; without it until the daemon is resumed.")}},
       {"Resume"}},
      true};
}

OwnSchema historySchema() {
  return {"McDaemonHistory",
          entity,
          "What happened to a daemon.",
          {{"Entries",
            "Entry",
            "object",
            "The last changes, the oldest first.",
            true,
            {time("Time", "When it was."), text("From", "The state before."),
             text("To", "The state after; the same for what changed no state."),
             flag("Restart", "Whether supervision restarted it of its own accord."),
             number("SecondsDown", "Of what ended a time down; else null."),
             text("What", "The rule that decided, or what was asked for."),
             text("Cause", "Why, or who asked."),
             text("Outcome", "What became of the command; null before its end.")}}}};
}

OwnSchema pairingSchema() {
  return {"McPairing",
          entity,
          "What decides which controller gives its firmware and settings to the other.",
          {text("Role", "The controller's role."),
           text("LoadMidplaneSerial", "The midplane that it was loaded in."),
           text("LastLoadedTime", "When it was loaded."),
           text("LastPairedPartnerSerial", "The partner that it paired with."),
           flag("PartnerValid", "Whether what is known of both holds."),
           text("FirmwareAction", "What it does with its partner's firmware."),
           text("SettingsAction", "What it does with its partner's settings."),
           listOf(text("Explanation", "How that was decided, line by line.")),
           text("Stall", "Why the two do not go on."),
           text("Remedy", "What helps: a command of the console, or what a person must do."),
           text("Push", "The push that is under way or asked for."),
           time("AsOf", "When the link to the partner last looked.")}};
}

const std::vector<OwnSchema>& ownSchemas() {
  static const std::vector<OwnSchema> schemas = {
      daemonSchema(),
      historySchema(),
      pairingSchema(),
      {"McManager",
       "Resource.OemObject",
       "What a controller has beside the standard's properties.",
       {flag("IsThisController", "Whether it is the one that answers."),
        {"Daemons", "McDaemonCollection.McDaemonCollection", "object", "Its daemons."},
        {"Pairing", "McPairing.McPairing", "object", "Its pairing."}}},
      {"McEventDestination",
       "Resource.OemObject",
       "What became of the events of a subscription.",
       {{"Waiting", "Edm.Int64", "integer", "Events that wait for the listener."},
        {"Delivered", "Edm.Int64", "integer", "Events that it took."},
        {"Lost", "Edm.Int64", "integer", "Events that found no room while they waited."},
        {"Failure", "Edm.String", "string", "Why the last attempt failed."}}},
      {"McNetworkProtocol",
       "Resource.OemObject",
       "All management interfaces, by their own names.",
       {{"Interfaces",
         "Interface",
         "object",
         "The interfaces.",
         true,
         {text("Name", "Its name."), flag("Managed", "Whether it is switched here."),
          flag("Enabled", "Whether it works."),
          flag("EnabledAtNextStart", "What the stored flag asks for.")}},
        time("AsOf", "Of the partner's: when it told them.")}},
  };
  return schemas;
}

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

bool isLink(const Property& property) {
  const std::string type = property.type;
  return property.parts.empty() && !type.starts_with("Edm.") && !type.starts_with("Resource.");
}

void properties(std::ostream& out, const std::vector<Property>& all, const std::string& space) {
  for (const Property& property : all) {
    const char* tag = isLink(property) ? "NavigationProperty" : "Property";
    const std::string name = (property.parts.empty() ? "" : space + ".") + property.type;
    out << "<" << tag << " Name=\"" << property.name << "\" Type=\""
        << (property.isArray ? "Collection(" + name + ")" : name) << "\">\n"
        << described(property.text) << "</" << tag << ">\n";
  }
}

// The types of the properties that have parts.
void partTypes(std::ostream& out, const OwnSchema& schema, const std::string& space) {
  for (const Property& property : schema.properties) {
    if (property.parts.empty()) continue;
    out << "<ComplexType Name=\"" << property.type << "\">\n";
    properties(out, property.parts, space);
    out << "</ComplexType>\n";
  }
}

void actions(std::ostream& out, const OwnSchema& schema) {
  if (schema.actions.empty()) return;
  out << "<ComplexType Name=\"Actions\"/>\n";
  for (const Action& action : schema.actions) {
    out << "<Action Name=\"" << action.name << "\" IsBound=\"true\">\n<Parameter Name=\""
        << schema.name << "\" Type=\"" << schema.name << ".v1_0_0.Actions\"/>\n";
    for (const Property& parameter : action.parameters) {
      out << "<Parameter Name=\"" << parameter.name << "\" Type=\"" << parameter.type << "\">\n"
          << described(parameter.text) << "</Parameter>\n";
    }
    out << "</Action>\n";
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
  properties(out, schema.properties, name + ".v1_0_0");
  if (!schema.actions.empty()) {
    out << "<Property Name=\"Actions\" Type=\"" << name << ".v1_0_0.Actions\"/>\n";
  }
  out << "</" << tag << ">\n";
  if (!schema.actions.empty()) out << "<ComplexType Name=\"Actions\"/>\n";
  partTypes(out, schema, name + ".v1_0_0");
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

object jsonTypesOf(const std::vector<Property>& all);

object jsonTypeOf(const Property& property) {
  object type{
      {"type", array{property.json, "null"}}, {"description", property.text}, {"readonly", true}};
  if (std::strcmp(property.type, "Edm.DateTimeOffset") == 0) type["format"] = "date-time";
  if (!property.parts.empty()) type["properties"] = jsonTypesOf(property.parts);
  if (!property.isArray) return type;
  return {{"type", "array"}, {"items", std::move(type)}, {"description", property.text}};
}

object jsonTypesOf(const std::vector<Property>& all) {
  object types;
  for (const Property& property : all) types[property.name] = jsonTypeOf(property);
  return types;
}

std::string jsonOf(const OwnSchema& schema) {
  object all = jsonTypesOf(schema.properties);
  if (!schema.actions.empty()) all["Actions"] = object{{"type", "object"}, {"readonly", true}};
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
