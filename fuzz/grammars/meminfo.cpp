// /proc/meminfo, as a poll cycle reads it.

#include "fuzz/play.h"
#include "support/SimulatedController.h"

void play(const std::string& input) {
  framework::Logger::setLevel(-1);
  test::SimulatedController controller;
  controller.writeFile("/proc/meminfo", input);
  auto& manager = controller.build();
  controller.runUntil(1);
  test::printed([&](auto& stream) { manager.information(stream, 0, true); });
  char value[8];
  services::app::AppManager::extractValue(input.c_str(), "MemTotal:", value, sizeof value);
  REQUIRE(std::strlen(value) < sizeof value && std::strpbrk(value, " \t\r\n") == nullptr);
}
