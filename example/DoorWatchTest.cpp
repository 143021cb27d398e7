// Hours of the service's life in a moment: time moves when its thread waits.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "DoorWatch.h"
#include "host/log/fw_Logger.h"
#include "host/machine/SimulatedPlatform.h"

namespace {

class Lines : public framework::Logger {
 public:
  Lines() { registerLogger(this); }
  ~Lines() override { unregisterLogger(this); }
  void takeLine(int /*type*/, const char* line, std::size_t size) override {
    m_lines.emplace_back(line, size);
  }
  bool has(const std::string& text) const {
    for (const auto& line : m_lines) {
      if (line.find(text) != std::string::npos) return true;
    }
    return false;
  }

 private:
  std::vector<std::string> m_lines;
};

}  // namespace

int main() {
  constexpr std::int64_t hour = 3600'000'000;
  platform::SimulatedPlatform machine;
  const std::string sensor = machine.root() + "/run/door.open";
  std::filesystem::create_directory(machine.root() + "/run");
  const Lines lines;
  DoorWatch watch("DoorWatch");
  machine.at(hour, [&] { std::ofstream(sensor) << "open"; });
  machine.at(2 * hour, [&] { std::remove(sensor.c_str()); });
  machine.at(3 * hour, [&] { watch.Shutdown(); });
  watch.threadDo(0);
  const bool passed = lines.has("the door is open") && lines.has("the door is closed") &&
                      machine.elapsed() == 3 * hour;
  std::puts(passed ? "passed" : "failed");
  return passed ? 0 : 1;
}
