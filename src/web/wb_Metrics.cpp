// What the controller tells Prometheus.
#include "web/wb_Metrics.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <algorithm>

namespace services::web {

namespace {

using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<prometheus::ClientMetric::Label>;

// Families of values, in the order of their adding.
class Families {
 public:
  void begin(const char* name, const char* help, MetricType type = MetricType::Gauge) {
    m_families.push_back({name, help, type, {}});
  }
  void add(Labels labels, double value) {
    prometheus::ClientMetric metric;
    metric.label = std::move(labels);
    MetricFamily& family = m_families.back();
    (family.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
    family.metric.push_back(std::move(metric));
  }
  void one(const char* name, const char* help, double value, MetricType type = MetricType::Gauge) {
    begin(name, help, type);
    add({}, value);
  }
  const std::vector<MetricFamily>& all() const { return m_families; }

 private:
  std::vector<MetricFamily> m_families;
};

void addDaemons(Families& families, const Snapshot& now) {
  constexpr const char* states[] = {"Unclassified", "Up", "Down", "Starting", "GoingDown"};
  families.begin("mc_daemon_state", "The daemon's state: 1 for the one that it is in.");
  for (const DaemonFacts& daemon : now.daemons) {
    for (const char* state : states) {
      families.add({{"daemon", daemon.name}, {"state", state}}, daemon.state == state ? 1 : 0);
    }
  }
  families.begin("mc_daemon_up", "Whether the daemon runs.");
  for (const DaemonFacts& daemon : now.daemons) {
    families.add({{"daemon", daemon.name}}, daemon.state == "Up" ? 1 : 0);
  }
  families.begin("mc_daemon_suspended", "Whether the daemon is left down once it is down.");
  for (const DaemonFacts& daemon : now.daemons) {
    families.add({{"daemon", daemon.name}}, daemon.suspended ? 1 : 0);
  }
  families.begin("mc_daemon_state_seconds", "How long the daemon has been in its state.");
  for (const DaemonFacts& daemon : now.daemons) {
    families.add({{"daemon", daemon.name}}, static_cast<double>(daemon.seconds));
  }
  families.begin("mc_daemon_memory_data_bytes", "The daemon's own memory, as last measured.");
  for (const DaemonFacts& daemon : now.daemons) {
    families.add({{"daemon", daemon.name}}, 1024.0 * daemon.dataKilobytes);
  }
}

void addInterfaces(Families& families, const Snapshot& now) {
  families.begin("mc_interface_up", "Whether the management interface works.");
  for (const InterfaceFacts& interface : now.interfaces) {
    if (interface.managed) families.add({{"interface", interface.name}}, interface.up ? 1 : 0);
  }
}

void addController(Families& families, const Snapshot& now) {
  families.begin("mc_build_info", "The firmware of this controller.");
  const ControllerFacts* own = now.controller(std::string(1, now.letter));
  families.add({{"controller", std::string(1, now.letter)},
                {"firmware", own == nullptr ? "" : own->firmware},
                {"bundle", own == nullptr ? "" : own->bundle}},
               1);
  const bool partner = std::ranges::any_of(
      now.controllers, [](const ControllerFacts& one) { return !one.isThis && one.isValid; });
  families.one("mc_partner_valid", "Whether what is known of the partner holds.", partner ? 1 : 0);
  if (now.knowsPaths) {
    families.begin("mc_path_up", "Whether the network path to the partner answers.");
    families.add({{"path", "inner"}}, now.innerUp ? 1 : 0);
    families.add({{"path", "outer"}}, now.outerUp ? 1 : 0);
  }
  families.one("mc_uptime_seconds", "How long the web service has run.",
               static_cast<double>(now.uptimeSeconds));
  families.one("mc_process_control", "Whether daemons are started and stopped here.",
               now.controlsDaemons ? 1 : 0);
  families.one("mc_web_sessions", "Sessions of web clients.",
               static_cast<double>(now.sessions.size()));
}

}  // namespace

std::string metricsOf(const Snapshot& now, std::uint64_t refusals) {
  Families families;
  addController(families, now);
  families.one("mc_web_refused_total", "Logins and changes by the web that were refused.",
               static_cast<double>(refusals), MetricType::Counter);
  addDaemons(families, now);
  addInterfaces(families, now);
  return prometheus::TextSerializer().Serialize(families.all());
}

http::Response metricsPage(const Sources& sources) {
  const Snapshot now = readSnapshot(sources, Daemons | Interfaces | Sessions);
  return {.body = metricsOf(now, sources.audit.refusals()),
          .type = "text/plain; version=0.0.4; charset=utf-8"};
}

}  // namespace services::web
