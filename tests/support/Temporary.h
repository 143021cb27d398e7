// What tests of the real machine share: a directory, an address, a limit, waiting.
#pragma once

#include "support/Standard.h"

namespace test {

/// A directory that goes with the object, and small files in it.
class Temporary : public Unique {
 public:
  Temporary() {
    if (::mkdtemp(m_path.data()) == nullptr) std::abort();
  }
  ~Temporary() { std::filesystem::remove_all(m_path); }

  std::string path(const std::string& name) const { return m_path + "/" + name; }
  bool has(const std::string& name) const { return std::filesystem::exists(path(name)); }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name)) << content;
  }
  std::string read(const std::string& name) const {
    std::stringstream content;
    content << std::ifstream(path(name)).rdbuf();
    return content.str();
  }

 private:
  std::string m_path = std::filesystem::temp_directory_path() / "mctestXXXXXX";
};

/// How many entries a directory has.
inline std::ptrdiff_t countOf(const char* directory) {
  return std::distance(std::filesystem::directory_iterator(directory), {});
}

/// A resource limit of the process while this lives. One of the size of files makes writes fail in
/// the middle, as a full disk does.
class Limit : public Unique {
 public:
  Limit(__rlimit_resource resource, rlim_t value) : m_resource(resource) {
    std::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(m_resource, &m_before);
    const rlimit limit{.rlim_cur = value, .rlim_max = m_before.rlim_max};
    ::setrlimit(m_resource, &limit);
  }
  ~Limit() { ::setrlimit(m_resource, &m_before); }

 private:
  const __rlimit_resource m_resource;
  rlimit m_before{};
};

/// A loopback address of this process alone, so that its ports are free and stay free; no two of
/// the 4 million pids have one in common.
inline std::string ownAddress() {
  const in_addr address{.s_addr = htonl(0x7f400000U + static_cast<unsigned>(::getpid()))};
  return ::inet_ntoa(address);
}

/// Polls until the condition holds, for at most a minute; the answer is the condition's last.
template <typename Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (!condition() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return condition();
}

}  // namespace test
