// What is to be seen of the machine itself, for a report.
#include "ops/op_MachineView.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/base/ut_ProcessDirectory.h"
#include "host/console/fw_Console.h"
#include "util/fw_ShownText.h"
#include "util/ut_FileInputStream.h"

namespace services::ops {

using utility::ProcessDirectory;

namespace {

constexpr std::size_t mostOfFile = 262144;

// Arguments as one text. What did not fit ends with a whole argument: a rule for secrets may need
// all of it.
std::string commandLineOf(int pid) {
  std::array<char, 4096> room;
  const auto file = ProcessDirectory::open(pid);
  const int size = file.isOpen() ? file.read(room.data(), room.size()) : 0;
  std::string text(room.data(), static_cast<std::size_t>(std::max(size, 0)));
  if (text.size() == room.size()) text.resize(text.rfind('\0') + 1);  // 0 where there is none
  while (text.ends_with('\0')) text.pop_back();
  std::ranges::replace(text, '\0', ' ');
  return framework::shownText(text);
}

std::string nameOf(int pid) {
  const std::string name = beginningOf("/proc/" + std::to_string(pid) + "/comm");
  return "[" + framework::shownText(name.substr(0, name.find('\n'))) + "]";
}

// The second number of its statm, in KiB.
std::string residentOf(int pid) {
  const std::string sizes = beginningOf("/proc/" + std::to_string(pid) + "/statm");
  const std::size_t blank = sizes.find(' ');
  if (blank == std::string::npos) return "";
  return std::to_string(std::strtol(sizes.c_str() + blank, nullptr, 10) * ::getpagesize() / 1024);
}

std::vector<std::string> rowOf(int pid) {
  const auto origin = ProcessDirectory::origin(pid);
  const auto condition = ProcessDirectory::condition(pid);
  const std::string line = commandLineOf(pid);
  return {std::to_string(pid),
          origin ? std::to_string(origin->parent) : "",
          condition ? std::string(1, condition->state) : "",
          condition ? std::to_string(condition->threads) : "",
          residentOf(pid),
          origin ? std::to_string(origin->user) : "",
          line.empty() ? nameOf(pid) : line};
}

std::string addressOf(const sockaddr& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void* bytes = nullptr;
  if (address.sa_family == AF_INET) bytes = &reinterpret_cast<const sockaddr_in&>(address).sin_addr;
  if (address.sa_family == AF_INET6)
    bytes = &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  if (bytes == nullptr) return "";
  return ::inet_ntop(address.sa_family, bytes, text.data(), text.size()) == nullptr ? ""
                                                                                    : text.data();
}

std::string fillingOf(const char* directory) {
  struct statvfs status {};
  if (directory == nullptr || ::statvfs(utility::Path::located(directory).c_str(), &status) != 0)
    return "";
  const auto kib = [&](fsblkcnt_t blocks) {
    return std::to_string(static_cast<unsigned long long>(blocks) * status.f_frsize / 1024);
  };
  return std::string(directory) + ": " + kib(status.f_bavail) + " KiB free of " +
         kib(status.f_blocks) + ", " + std::to_string(status.f_favail) + " files\n";
}

}  // namespace

std::string beginningOf(const std::string& path) {
  utility::FileInputStream file(path.c_str());
  std::string text;
  std::array<char, 16384> room;
  while (text.size() < mostOfFile) {
    const int size = file.ReceiveInputStream(room.data(), room.size());
    if (size <= 0) break;
    text.append(room.data(), static_cast<std::size_t>(size));
  }
  if (text.size() >= mostOfFile) text.resize(text.rfind('\n') + 1);
  return text;
}

std::string processTable() {
  const auto directory = std::make_unique<ProcessDirectory>();
  std::vector<int> pids;
  directory->list(pids);
  framework::TableRows rows;
  for (const int pid : pids) rows.push_back(rowOf(pid));
  framework::Console console;
  framework::writeTable(console.output(),
                        {{"PID", ""},
                         {"PARENT", ""},
                         {"STATE", ""},
                         {"THREADS", ""},
                         {"KIB", ""},
                         {"USER", ""},
                         {"COMMAND LINE", ""}},
                        rows);
  std::string text;
  console.takeReply(text);
  return text;
}

std::string interfaceList() {
  ifaddrs* all = nullptr;
  if (::getifaddrs(&all) != 0) return "";
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owned(all, ::freeifaddrs);
  std::string text;
  for (const ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
    const std::string address = one->ifa_addr == nullptr ? "" : addressOf(*one->ifa_addr);
    const bool up = (one->ifa_flags & IFF_UP) != 0;
    const bool running = (one->ifa_flags & IFF_RUNNING) != 0;
    text += std::string(one->ifa_name) + (up ? " up" : " down") + (running ? " running " : " ") +
            address + "\n";
  }
  return text;
}

std::string systemLines() {
  utsname name{};
  ::uname(&name);
  std::string text = std::string(name.sysname) + " " + name.nodename + " " + name.release + " " +
                     name.version + " " + name.machine + "\n";
  text += fillingOf(utility::Environment::GetEnv("MC_LOG_DIR"));
  text += fillingOf(utility::Environment::GetEnv("MC_TEMP"));
  return text + fillingOf(utility::Environment::configDirectory());
}

}  // namespace services::ops
