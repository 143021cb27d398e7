// What the supervision is to keep of the machine's memory.
#pragma once

#include "support/Campaign.h"

namespace test {

class MemoryModel {
 public:
  /// Takes the figures and a sample, every 120 whole seconds of the clock each.
  void track(std::int64_t now, const std::string& summary) {
    if (isDue(m_taken, now) && !summary.empty()) {
      const unsigned int all = figure(summary, "MemTotal:");
      const char* const keys[] = {"MemFree:", "Cached:", "Buffers:", "AnonPages:"};
      for (std::size_t i = 0; i < 4; ++i) {
        m_figures[i] = figure(summary, keys[i]);
        if (all != 0) m_percent[i] = m_figures[i] * 100 / all;
      }
    }
    if (!isDue(m_sampled, now)) return;
    samples.emplace_back(now, text(" %d,%d", int(m_figures[0]), int(m_percent[0])));
    if (samples.size() > 1440) samples.pop_front();
  }
  unsigned int cached() const { return m_figures[1]; }
  std::string told() const {
    std::string line = "MEM:";
    for (std::size_t i = 0; i < 4; ++i) {
      line += text("%s %c/%u kb (%u%%)", i > 0 ? "," : "", "FCBA"[i], m_figures[i], m_percent[i]);
    }
    return line + "\n";
  }

  std::deque<std::pair<std::int64_t, std::string>> samples;

 private:
  static bool isDue(std::int64_t& mark, std::int64_t now) {
    const bool due = now / 1000 - mark / 1000 > 119;
    if (due) mark = now;
    return due;
  }
  // The number behind a key; only blanks may stand between them.
  static unsigned int figure(const std::string& summary, const std::string& key) {
    const std::string all = summary.substr(0, 1024);
    const std::size_t at = all.find(key);
    if (at == std::string::npos) return 0;
    const std::string value = all.substr(all.find_first_not_of(' ', at + key.size()));
    return std::isdigit(value[0]) == 0 ? 0 : static_cast<unsigned int>(std::stoul(value));
  }

  std::int64_t m_taken = 0, m_sampled = 0;
  std::array<unsigned int, 4> m_figures{}, m_percent{};  // free, cached, buffers, anonymous
};

}  // namespace test
