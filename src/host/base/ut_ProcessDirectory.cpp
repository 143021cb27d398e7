// The running processes as /proc lists them, and files of their command lines.
#include "host/base/ut_ProcessDirectory.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string_view>
#include <utility>

#include "host/base/ut_Path.h"
#include "host/machine/DescriptorLimit.h"
#include "util/ut_OpenFile.h"

namespace utility {

namespace {

// The number that a name consists of; 0 for any other name.
int pidOf(const char* name) {
  int pid = 0;
  const char* const end = name + std::strlen(name);
  const auto [last, error] = std::from_chars(name, end, pid);
  return error == std::errc() && last == end ? pid : 0;
}

}  // namespace

ProcessFile::ProcessFile(ProcessFile&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

ProcessFile& ProcessFile::operator=(ProcessFile&& other) noexcept {
  if (this != &other) {
    close();
    m_descriptor = std::exchange(other.m_descriptor, -1);
  }
  return *this;
}

void ProcessFile::close() {
  if (m_descriptor >= 0) ::close(std::exchange(m_descriptor, -1));
}

int ProcessFile::read(char* data, unsigned int size) const {
  ssize_t received = -1;
  do {
    received = ::pread(m_descriptor, data, size, 0);
  } while (received < 0 && errno == EINTR);
  return static_cast<int>(received);
}

void ProcessFile::keep() {
  const int kept = ::fcntl(m_descriptor, F_DUPFD_CLOEXEC, platform::freeDescriptors());
  close();
  m_descriptor = kept;
}

void ProcessDirectory::list(std::vector<int>& pids) {
  const int directory = openFile("/proc/", O_RDONLY | O_DIRECTORY, 0);
  if (directory < 0) return;
  pids.clear();
  for (;;) {
    const ssize_t filled = ::getdents64(directory, m_entries.data(), m_entries.size());
    if (filled <= 0) break;
    append(static_cast<std::size_t>(filled), pids);
  }
  ::close(directory);
  // /proc is in order; other file systems need not be.
  if (!std::is_sorted(pids.begin(), pids.end())) std::sort(pids.begin(), pids.end());
}

void ProcessDirectory::append(std::size_t filled, std::vector<int>& pids) const {
  for (std::size_t at = 0; at < filled;) {
    const auto* entry = reinterpret_cast<const dirent64*>(m_entries.data() + at);
    at += entry->d_reclen;
    if (const int pid = pidOf(entry->d_name); pid > 0) pids.push_back(pid);
  }
}

std::optional<ProcessOrigin> ProcessDirectory::origin(int pid) {
  const std::string directory = Path::located("/proc/" + std::to_string(pid));
  std::array<char, 4096> path;
  const ssize_t length = ::readlink((directory + "/exe").c_str(), path.data(), path.size());
  std::ifstream status(directory + "/status");
  if (length < 0 || !status) return std::nullopt;
  ProcessOrigin origin = {.executable = {path.data(), static_cast<std::size_t>(length)}};
  constexpr std::string_view removed = " (deleted)";
  if (origin.executable.ends_with(removed)) {
    origin.executable.resize(origin.executable.size() - removed.size());
  }
  for (std::string key; status >> key;) {
    if (key == "PPid:") status >> origin.parent;
    if (key == "Uid:") status >> origin.user;
  }
  return origin;
}

std::optional<ProcessCondition> ProcessDirectory::condition(int pid) {
  std::ifstream file(Path::located("/proc/" + std::to_string(pid) + "/stat"));
  std::string stat;
  std::getline(file, stat, '\0');
  const std::size_t nameEnd = stat.rfind(')');  // the program's name may hold anything
  if (nameEnd == std::string::npos) return std::nullopt;
  std::istringstream fields(stat.substr(nameEnd + 1));
  ProcessCondition condition;
  fields >> condition.state;
  constexpr int fieldsBeforeThreads = 16;
  std::string skipped;
  for (int i = 0; i < fieldsBeforeThreads; ++i) fields >> skipped;
  fields >> condition.threads;
  if (!fields) return std::nullopt;
  return condition;
}

ProcessFile ProcessDirectory::open(int pid) {
  std::array<char, 32> path;
  std::snprintf(path.data(), path.size(), "/proc/%d/cmdline", pid);
  return ProcessFile(openFile(path.data(), O_RDONLY, 0));
}

}  // namespace utility
