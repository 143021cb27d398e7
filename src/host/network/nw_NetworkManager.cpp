// The hosts table: names of hosts and their addresses.
#include "host/network/nw_NetworkManager.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>

#include "host/base/fw_Entrance.h"
#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "host/network/nw_HostsTable.h"
#include "util/ut_FileInputStream.h"
#include "util/ut_IPV4Address.h"

namespace services::network {

namespace {

constexpr const char* path = "/etc/hosts";

std::mutex changing;  // one change at a time in this process

bool refuse(const char* value, const char* why) {
  framework::Logger::StaticLog(framework::LogType::Error, "hosts table: %s: %s", value, why);
  return false;
}

// The whole table, empty when there is no file; nothing when not all of it can be read.
std::optional<std::string> readTable() {
  utility::FileInputStream file(path);
  std::string table;
  std::array<char, 4096> chunk;
  int received = 0;
  while ((received = file.ReceiveInputStream(chunk.data(), chunk.size())) > 0) {
    table.append(chunk.data(), static_cast<std::size_t>(received));
  }
  if (file.isInputStreamInError() && utility::Path::exists(path)) return std::nullopt;
  return table;
}

}  // namespace

bool NetworkManager::getHosts(char* buffer, unsigned int size, const char* hostName) {
  const auto address = findHost(readTable().value_or(""), hostName);
  if (!address || address->size() >= size) return false;
  std::memcpy(buffer, address->c_str(), address->size() + 1);
  return true;
}

bool NetworkManager::setHosts(const char* address, const char* hostName) {
  if (!utility::IPV4Address::parse(address)) return refuse(address, "must be an IPv4 address");
  if (!framework::isHostName(hostName)) return refuse(hostName, framework::hostNameRule);
  const std::lock_guard lock(changing);
  const auto table = readTable();
  if (!table) return refuse(path, "cannot be read");
  const std::string changed = pointHost(*table, address, hostName);
  if (changed == *table) return true;
  return utility::replaceFile(path, changed, 0644) == 0 || refuse(path, std::strerror(errno));
}

}  // namespace services::network
