// The enclosure, its two controllers, their interfaces and firmware.
#include <boost/json/array.hpp>
#include <cstring>

#include "app/interfaces/app_InterfaceManager.h"
#include "host/base/st_StringRepository.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/si_Field.h"
#include "web/wb_Happenings.h"
#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using app::InterfaceManager;
using boost::json::array;
using boost::json::object;
using boost::json::value;

namespace {

// Both, as soon as the system information is there.
Keys letters(const Snapshot& now, const Keys&) {
  Keys all;
  for (const ControllerFacts& facts : now.controllers) all.push_back(facts.letter);
  return all;
}
Keys one(const Snapshot&, const Keys&) { return {"Enclosure"}; }

const char* stateOf(const ControllerFacts& facts) {
  return facts.isValid ? "Enabled" : "UnavailableOffline";
}

object chassis(const Snapshot& now, const Keys&) {
  return {{"ChassisType", "Enclosure"},
          {"SerialNumber", orNull(now.midplane)},
          {"Status", status("Enabled", "OK")},
          {"Links", object{{"ManagedBy", array{link("/redfish/v1/Managers/A"),
                                               link("/redfish/v1/Managers/B")}}}}};
}

// The two controllers stand in for each other.
array redundancy(const Snapshot& now, const std::string& self) {
  const bool both =
      now.controllers.size() == 2 && now.controllers[0].isValid && now.controllers[1].isValid;
  return {object{
      {"@odata.id", self + "#/Redundancy/0"},
      {"MemberId", "0"},
      {"Name", "Controllers"},
      {"Mode", "N+m"},
      {"MinNumNeeded", 1},
      {"RedundancySet", array{link("/redfish/v1/Managers/A"), link("/redfish/v1/Managers/B")}},
      {"Status", status("Enabled", both ? "OK" : "Warning")}}};
}

bool knowsInterfaces(const Snapshot& now, const Keys& keys) {
  const ControllerFacts* facts = now.controller(keys[0]);
  return facts != nullptr && (facts->isThis || now.partner);
}

// What this controller has that its partner does not tell.
void addOwn(object& shown, const Snapshot& now, const std::string& self) {
  shown["DateTime"] = now.dateTime;
  shown["LogServices"] = link(self + "/LogServices");
}

object manager(const Snapshot& now, const Keys& keys) {
  const ControllerFacts& facts = *now.controller(keys[0]);
  const std::string self = "/redfish/v1/Managers/" + keys[0];
  object shown{{"ManagerType", "EnclosureManager"},
               {"FirmwareVersion", orNull(facts.firmware)},
               {"SerialNumber", orNull(facts.serial)},
               {"Status", status(stateOf(facts), facts.isValid ? "OK" : "Warning")},
               {"EthernetInterfaces", link(self + "/EthernetInterfaces")},
               {"Redundancy", redundancy(now, self)},
               {"Redundancy@odata.count", 1},
               {"Links", object{{"ManagerForChassis", array{link("/redfish/v1/Chassis/Enclosure")}},
                                {"ManagerInChassis", link("/redfish/v1/Chassis/Enclosure")}}}};
  if (facts.isThis) addOwn(shown, now, self);
  if (knowsInterfaces(now, keys)) shown["NetworkProtocol"] = link(self + "/NetworkProtocol");
  shown["Oem"] = object{{"Mc", object{{"@odata.type", "#McManager.v1_0_0.McManager"},
                                      {"IsThisController", facts.isThis},
                                      {"Daemons", link(self + "/Oem/Mc/Daemons")},
                                      {"Pairing", link(self + "/Oem/Mc/Pairing")}}}};
  return shown;
}

// The interfaces that the standard knows, and the names that it has for them.
struct Protocol {
  const char* property;
  const char* interface;
};
constexpr Protocol protocols[] = {{"HTTP", "Http"},     {"HTTPS", "Https"}, {"SSH", "Ssh"},
                                  {"Telnet", "Telnet"}, {"SNMP", "Snmp"},   {"FTP", "Ftp"}};

object interfacesShown(const Snapshot& now) {
  object shown{{"@odata.type", "#McNetworkProtocol.v1_0_0.McNetworkProtocol"}};
  array all;
  for (const InterfaceFacts& facts : now.interfaces) {
    all.push_back(object{{"Name", facts.name},
                         {"Managed", facts.managed},
                         {"Enabled", facts.up},
                         {"EnabledAtNextStart", facts.nextStart}});
  }
  shown["Interfaces"] = std::move(all);
  return shown;
}

object ownProtocols(const Snapshot& now) {
  object shown{{"Status", status("Enabled", "OK")}};
  for (const Protocol& protocol : protocols) {
    const InterfaceFacts* facts = now.interface(protocol.interface);
    if (facts == nullptr) continue;
    object one{{"ProtocolEnabled", facts->up}};
    if (std::strcmp(protocol.property, "HTTP") == 0) one["Port"] = now.httpPort;
    if (std::strcmp(protocol.property, "HTTPS") == 0) {
      one["Port"] = now.httpsPort;
      one["Certificates"] = link(managerPath(now.letter) + "/NetworkProtocol/HTTPS/Certificates");
    }
    shown[protocol.property] = std::move(one);
  }
  shown["Oem"] = object{{"Mc", interfacesShown(now)}};
  return shown;
}

// As it last told them.
object partnersProtocols(const Snapshot& now, const ControllerFacts& partner) {
  object shown{{"Status", status(stateOf(partner), partner.isValid ? "OK" : "Warning")}};
  array all;
  for (const auto& interface : now.partner->interfaces) {
    all.push_back(object{{"Name", interface.name}, {"Enabled", interface.up}});
    const auto* protocol = std::ranges::find_if(
        protocols, [&](const Protocol& one) { return interface.name == one.interface; });
    if (protocol == std::end(protocols)) continue;
    shown[protocol->property] = object{{"ProtocolEnabled", interface.up}};
  }
  shown["Oem"] =
      object{{"Mc", object{{"@odata.type", "#McNetworkProtocol.v1_0_0.McNetworkProtocol"},
                           {"Interfaces", std::move(all)},
                           {"AsOf", isoTime(now.partner->received)}}}};
  return shown;
}

object networkProtocol(const Snapshot& now, const Keys& keys) {
  const ControllerFacts& facts = *now.controller(keys[0]);
  return facts.isThis ? ownProtocols(now) : partnersProtocols(now, facts);
}

Keys ports(const Snapshot& now, const Keys& before) {
  const ControllerFacts* facts = now.controller(before[0]);
  if (facts == nullptr || !facts->isThis) return {"Host"};
  return {"Host", "Inner", "Outer"};
}

object path(const Snapshot& now, bool isUp) {
  object shown{{"Status", status("Enabled", !now.knowsPaths || isUp ? "OK" : "Warning")}};
  shown["LinkStatus"] = now.knowsPaths ? value(isUp ? "LinkUp" : "LinkDown") : value(nullptr);
  return shown;
}

object ethernet(const Snapshot& now, const Keys& keys) {
  if (keys[1] == "Inner") return path(now, now.innerUp);
  if (keys[1] == "Outer") return path(now, now.outerUp);
  const ControllerFacts& facts = *now.controller(keys[0]);
  object shown{{"Status", status(stateOf(facts), facts.isValid ? "OK" : "Warning")},
               {"MACAddress", orNull(facts.mac)}};
  if (!facts.address.empty() && facts.address != "0.0.0.0") {
    shown["IPv4Addresses"] = array{object{{"Address", facts.address}}};
  }
  return shown;
}

struct Firmware {
  const char* id;
  std::string ControllerFacts::*version;
};
constexpr Firmware firmwares[] = {{"Firmware", &ControllerFacts::firmware},
                                  {"Bundle", &ControllerFacts::bundle},
                                  {"CPLD", &ControllerFacts::cpld}};

Keys inventory(const Snapshot&, const Keys&) {
  Keys ids;
  for (const char* letter : {"A", "B"}) {
    for (const auto& firmware : firmwares) ids.push_back(std::string(letter) + "-" + firmware.id);
  }
  return ids;
}

object software(const Snapshot& now, const Keys& keys) {
  const ControllerFacts* facts = now.controller(keys[0].substr(0, 1));
  const auto* firmware = std::ranges::find_if(
      firmwares, [&](const Firmware& one) { return keys[0].substr(2) == one.id; });
  const std::string version = facts == nullptr ? "" : facts->*(firmware->version);
  return {{"Version", orNull(version)},
          {"Updateable", false},
          {"RelatedItem", array{link("/redfish/v1/Managers/" + keys[0].substr(0, 1))}},
          {"RelatedItem@odata.count", 1},
          {"Status",
           status(facts != nullptr && facts->isValid ? "Enabled" : "UnavailableOffline", "OK")}};
}

object updateService(const Snapshot&, const Keys&) {
  return {{"ServiceEnabled", false},
          {"Status", status("Disabled", "OK")},
          {"FirmwareInventory", link("/redfish/v1/UpdateService/FirmwareInventory")}};
}

// One switch that a request asks for: now, or the flag that the next start goes by.
struct Switch {
  std::string interface;
  bool up;
  bool stored;
  std::string pointer;  // to the property that asks
};

// What a member of the request asks for; a refusal in the answer where it asks for what cannot be.
using Refusal = std::optional<http::Response>;

Refusal readFlag(const object& from, const std::string& key, const std::string& pointer,
                 const std::string& interface, bool stored, std::vector<Switch>& switches) {
  const value* flag = from.if_contains(key);
  if (flag == nullptr) return std::nullopt;
  if (!flag->is_bool()) {
    return messageResponse("PropertyValueTypeError", {shortText(*flag), key}, pointer + "/" + key);
  }
  switches.push_back({interface, flag->as_bool(), stored, pointer});
  return std::nullopt;
}

Refusal readProtocol(const value& given, const Protocol& protocol, std::vector<Switch>& switches) {
  const std::string pointer = std::string("#/") + protocol.property;
  if (!given.is_object()) {
    return messageResponse("PropertyValueTypeError", {shortText(given), protocol.property},
                           pointer);
  }
  if (auto refusal = unknownIn(given.as_object(), {"ProtocolEnabled"}, {"Port"}, pointer)) {
    return refusal;
  }
  return readFlag(given.as_object(), "ProtocolEnabled", pointer, protocol.interface, false,
                  switches);
}

// An entry of Oem/Mc/Interfaces: by its name, wherever it stands.
Refusal readInterface(const value& given, const std::string& pointer, const Snapshot& now,
                      std::vector<Switch>& switches) {
  const auto* entry = given.if_object();
  if (entry == nullptr)
    return messageResponse("PropertyValueTypeError", {shortText(given), "Interfaces"}, pointer);
  if (auto refusal =
          unknownIn(*entry, {"Name", "Enabled", "EnabledAtNextStart"}, {"Managed"}, pointer)) {
    return refusal;
  }
  const auto* name = entry->if_contains("Name");
  if (name == nullptr) return messageResponse("PropertyMissing", {"Name"}, pointer + "/Name");
  if (!name->is_string() || now.interface(textOf(*name)) == nullptr) {
    return messageResponse("PropertyValueNotInList", {shortText(*name), "Name"}, pointer + "/Name");
  }
  const std::string interface = textOf(*name);
  if (auto refusal = readFlag(*entry, "Enabled", pointer, interface, false, switches)) {
    return refusal;
  }
  return readFlag(*entry, "EnabledAtNextStart", pointer, interface, true, switches);
}

// The object that a value is, an empty one for others.
const object& objectOf(const value& given) {
  static const object none;
  const object* found = given.if_object();
  return found == nullptr ? none : *found;
}

Refusal readOem(const value& given, const Snapshot& now, std::vector<Switch>& switches) {
  const std::string pointer = "#/Oem/Mc/Interfaces";
  if (auto refusal = unknownIn(objectOf(given), {"Mc"}, {}, "#/Oem")) return refusal;
  const value* mc = objectOf(given).if_contains("Mc");
  if (mc != nullptr) {
    if (auto refusal = unknownIn(objectOf(*mc), {"Interfaces"}, {"@odata.type"}, "#/Oem/Mc")) {
      return refusal;
    }
  }
  const value* list =
      mc != nullptr && mc->is_object() ? mc->as_object().if_contains("Interfaces") : nullptr;
  if (list == nullptr || !list->is_array()) {
    return messageResponse("PropertyValueTypeError", {shortText(given), "Oem"}, "#/Oem");
  }
  for (std::size_t i = 0; i < list->as_array().size(); ++i) {
    const std::string at = pointer + "/" + std::to_string(i);
    if (auto refusal = readInterface(list->as_array()[i], at, now, switches)) return refusal;
  }
  return std::nullopt;
}

Refusal readSwitches(const Call& call, std::vector<Switch>& switches) {
  for (const auto& member : call.body) {
    const std::string key(member.key());
    const auto* protocol =
        std::ranges::find_if(protocols, [&](const Protocol& one) { return key == one.property; });
    Refusal refusal;
    if (protocol != std::end(protocols)) {
      refusal = readProtocol(member.value(), *protocol, switches);
    } else if (key == "Oem") {
      refusal = readOem(member.value(), call.snapshot, switches);
    } else {
      refusal = messageResponse("PropertyUnknown", {key}, "#/" + key);
    }
    if (refusal) return refusal;
  }
  return std::nullopt;
}

// The stored flag of an interface; all but one tell that it is off.
std::string flagOf(const std::string& interface) {
  return interface == "Usmis" ? "UsmisEnable" : interface + "Disable";
}

bool store(const Switch& one) {
  sysinfo::SysInfoWriteGuard guard;
  sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return false;
  const bool flag = one.interface == "Usmis" ? one.up : !one.up;
  const auto* field = sysinfo::findField(sysinfo::settingFields(), flagOf(one.interface));
  field->set(*sysInfo, flag ? "true" : "false");
  return guard.freeObject();
}

bool doSwitch(const Switch& one) {
  if (one.stored) return store(one);
  return InterfaceManager::setUp(
      static_cast<InterfaceManager::Interfaces>(strings::GS.toToken(one.interface.c_str())),
      one.up);
}

// All is checked before anything is switched.
http::Response switchInterfaces(const Call& call) {
  std::vector<Switch> switches;
  if (auto refusal = readSwitches(call, switches)) return *refusal;
  for (const Switch& one : switches) {
    const InterfaceFacts* facts = call.snapshot.interface(one.interface);
    if (one.stored || (facts != nullptr && facts->managed)) continue;
    return messageResponse("ChangeRefused", {one.interface + " is not managed by this host"},
                           one.pointer);
  }
  for (const Switch& one : switches) {
    const std::string what =
        one.interface + (one.up ? " on" : " off") + (one.stored ? " at the next start" : "");
    const bool done = doSwitch(one);
    call.sources.audit.note(!done, call.request.user, call.request.address, "switch " + what);
    if (!done) {
      return messageResponse("ChangeRefused", {what + " could not be done; the log says why"},
                             one.pointer);
    }
  }
  return {.status = 204};
}

constexpr Resource resources[] = {
    {"/redfish/v1/Chassis/{}", "Chassis.v1_25_0.Chassis", "Enclosure", SystemAlone, chassis, one,
     http::Access::Read, "Chassis Collection"},
    {"/redfish/v1/Managers/{}", "Manager.v1_20_0.Manager", "Management controller {}", SystemAlone,
     manager, letters, http::Access::Read, "Manager Collection"},
    {"/redfish/v1/Managers/{}/NetworkProtocol",
     "ManagerNetworkProtocol.v1_10_0.ManagerNetworkProtocol", "Management interfaces", Interfaces,
     networkProtocol, nullptr, http::Access::Read, "", false, knowsInterfaces},
    {"/redfish/v1/Managers/{}/EthernetInterfaces/{}", "EthernetInterface.v1_12_0.EthernetInterface",
     "Network path {}", SystemAlone, ethernet, ports, http::Access::Read,
     "Ethernet Interface Collection"},
    {"/redfish/v1/UpdateService", "UpdateService.v1_14_0.UpdateService", "Firmware", SystemAlone,
     updateService},
    {"/redfish/v1/UpdateService/FirmwareInventory/{}",
     "SoftwareInventory.v1_10_0.SoftwareInventory", "Firmware {}", SystemAlone, software, inventory,
     http::Access::Read, "Firmware Inventory"},
};

constexpr Change changes[] = {
    {"PATCH", "/redfish/v1/Managers/{}/NetworkProtocol", http::Access::Administer, Interfaces,
     switchInterfaces},
};

}  // namespace

std::span<const Resource> managerResources() { return resources; }
std::span<const Change> managerChanges() { return changes; }

}  // namespace services::web
