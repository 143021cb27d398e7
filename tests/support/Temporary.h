// A directory that lives as long as a test, and waiting for what the kernel does not announce.
#pragma once

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

namespace test {

/// A directory that goes with the object, and small files in it.
class Temporary {
 public:
  Temporary() { ::mkdtemp(m_path.data()); }
  ~Temporary() { std::filesystem::remove_all(m_path); }
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;

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

/// Polls until the condition holds, for at most ten seconds; the answer is the condition's last.
template <typename Condition>
bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition() && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return condition();
}

}  // namespace test
