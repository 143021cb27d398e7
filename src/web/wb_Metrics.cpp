// What the controller tells Prometheus.
#include "web/wb_Metrics.h"

#include <prometheus/collectable.h>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <algorithm>
#include <limits>

#include "host/base/st_StringRepository.h"

namespace services::web {

namespace {

using prometheus::MetricFamily;
using prometheus::MetricType;
using strings::StringRepository;
using Labels = std::vector<prometheus::ClientMetric::Label>;

// Families of values, in the order of their adding.
class Families {
 public:
  void begin(const char* name, const char* help, MetricType type = MetricType::Gauge) {
    m_families.push_back({name, help, type, {}});
  }
  void count(const char* name, const char* help) { begin(name, help, MetricType::Counter); }
  void add(Labels labels, double value) {
    MetricFamily& family = m_families.back();
    prometheus::ClientMetric& metric = family.metric.emplace_back();
    metric.label = std::move(labels);
    (family.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
  }
  void one(const char* name, const char* help, double value, MetricType type = MetricType::Gauge) {
    begin(name, help, type);
    add({}, value);
  }
  void oneCount(const char* name, const char* help, double value) {
    one(name, help, value, MetricType::Counter);
  }
  void distribution(const char* name, const char* help, const Distribution& all);
  std::vector<MetricFamily> take() { return std::move(m_families); }

 private:
  std::vector<MetricFamily> m_families;
};

void Families::distribution(const char* name, const char* help, const Distribution& all) {
  if (all.counts.empty()) return;
  begin(name, help, MetricType::Histogram);
  prometheus::ClientMetric::Histogram& histogram =
      m_families.back().metric.emplace_back().histogram;
  for (std::size_t i = 0; i < all.counts.size(); ++i) {
    histogram.sample_count += all.counts[i];
    histogram.bucket.push_back(
        {histogram.sample_count,
         i < all.bounds.size() ? all.bounds[i] : std::numeric_limits<double>::infinity()});
  }
  histogram.sample_sum = all.total;
}

void addDaemons(Families& families, const Snapshot& now) {
  using enum app::Process::State;
  constexpr app::Process::State states[] = {Unclassified, Up, Down, Starting, GoingDown};
  families.begin("mc_daemon_state", "The daemon's state: 1 for the one that it is in.");
  for (const app::ProcessView* daemon : now.views()) {
    for (const auto state : states) {
      families.add({{"daemon", daemon->name}, {"state", StringRepository::toString(state)}},
                   daemon->state == state ? 1 : 0);
    }
  }
  families.begin("mc_daemon_up", "Whether the daemon runs.");
  for (const app::ProcessView* daemon : now.views()) {
    families.add({{"daemon", daemon->name}}, daemon->state == Up ? 1 : 0);
  }
  families.begin("mc_daemon_suspended", "Whether the daemon is left down once it is down.");
  for (const app::ProcessView* daemon : now.views()) {
    families.add({{"daemon", daemon->name}}, daemon->suspended ? 1 : 0);
  }
  families.begin("mc_daemon_state_seconds", "How long the daemon has been in its state.");
  for (const app::ProcessView* daemon : now.views()) {
    families.add({{"daemon", daemon->name}}, static_cast<double>(daemon->seconds));
  }
}

void addHistories(Families& families, const Snapshot& now, const Figures& figures) {
  const auto figuresOf = [&](const app::ProcessView& daemon) {
    const auto found = figures.daemons.find(daemon.name);
    return found == figures.daemons.end() ? Figures::Daemon{} : found->second;
  };
  families.begin("mc_daemon_memory_bytes", "The daemon's memory by kind, as last measured.");
  for (const app::ProcessView* daemon : now.views()) {
    const auto add = [&](const char* kind, unsigned int kilobytes) {
      families.add({{"daemon", daemon->name}, {"kind", kind}}, 1024.0 * kilobytes);
    };
    add("data", daemon->dataKilobytes);
    add("code", daemon->codeKilobytes);
    add("shared", daemon->sharedKilobytes);
  }
  families.count("mc_daemon_restarts_total",
                 "Restarts by supervision, ever: the daemon was down, or grew too large.");
  for (const app::ProcessView* daemon : now.views()) {
    const Figures::Daemon known = figuresOf(*daemon);
    families.add({{"daemon", daemon->name}, {"cause", "down"}}, static_cast<double>(known.down));
    families.add({{"daemon", daemon->name}, {"cause", "memory"}},
                 static_cast<double>(known.overLimit));
  }
  families.begin("mc_daemon_failing_restarts",
                 "Restarts of late of a daemon that is restarted too often; else 0.");
  for (const app::ProcessView* daemon : now.views()) {
    families.add({{"daemon", daemon->name}}, figuresOf(*daemon).failing);
  }
}

void addSupervision(Families& families, const Figures& figures) {
  families.distribution("mc_end_to_scan_seconds",
                        "From the end of a daemon to the scan that acts on it.", figures.toScan);
  families.distribution("mc_time_down_seconds", "How long daemons were down, each time.",
                        figures.timesDown);
  families.distribution("mc_poll_cycle_seconds", "How long the poll cycles took.", figures.cycles);
  if (figures.cycleAge) {
    families.one("mc_poll_cycle_age_seconds", "Since the last poll cycle began.",
                 *figures.cycleAge);
  }
  families.begin("mc_memory_bytes", "The controller's memory by kind, as of the last sample.");
  for (const auto& [kind, bytes] : figures.memory) families.add({{"kind", kind}}, bytes);
}

void addCommands(Families& families, const Figures& figures) {
  const auto add = [&](const char* name, const char* help,
                       const utility::OutcomeCount::Ends& ends) {
    families.count(name, help);
    families.add({{"outcome", "ok"}}, static_cast<double>(ends.succeeded));
    families.add({{"outcome", "failed"}}, static_cast<double>(ends.failed));
    families.add({{"outcome", "killed"}}, static_cast<double>(ends.killed));
  };
  add("mc_init_script_runs_total", "Init scripts that ended.", figures.scripts);
  add("mc_mails_total", "Mails handed to sendmail.", figures.mails);
  add("mc_pairing_pushes_total", "Pushes of firmware or settings to the partner.", figures.pushes);
}

void addHost(Families& families, const Figures& figures) {
  families.oneCount("mc_log_lines_dropped_total", "Log lines that found no room.",
                    static_cast<double>(figures.linesDropped));
  families.one("mc_archive_backlog_files", "Log files listed and not yet taken to the archive.",
               figures.backlog);
  families.count("mc_store_commits_total", "Changes of the settings' store.");
  families.add({{"outcome", "ok"}}, static_cast<double>(figures.stored));
  families.add({{"outcome", "failed"}}, static_cast<double>(figures.unstored));
  families.count("mc_web_requests_total", "Requests that were answered, by the kind of status.");
  for (const int kind : {2, 3, 4, 5}) {
    families.add({{"status", std::to_string(kind) + "xx"}},
                 static_cast<double>(figures.requests.at(static_cast<std::size_t>(kind))));
  }
  families.oneCount("process_cpu_seconds_total", "Processor time of the host.",
                    figures.processorSeconds);
  families.one("process_resident_memory_bytes", "Memory of the host.", figures.residentBytes);
}

void addPairing(Families& families, const Figures& figures) {
  if (figures.partnerSilence) {
    families.one("mc_partner_silence_seconds", "Since the partner last told of itself.",
                 *figures.partnerSilence);
  }
  families.begin("mc_pairing_role", "This controller's role: 1 for the one that it has.");
  for (const char* role :
       {"Undetermined", "MasterUnpaired", "MasterPaired", "SlaveUnpaired", "SlavePaired"}) {
    families.add({{"role", role}}, figures.role == role ? 1 : 0);
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

class SnapshotMetrics : public prometheus::Collectable {
 public:
  SnapshotMetrics(const Snapshot& now, const Figures& figures, std::uint64_t refusals)
      : m_now(now), m_figures(figures), m_refusals(refusals) {}

  std::vector<MetricFamily> Collect() const override {
    Families families;
    addController(families, m_now);
    families.oneCount("mc_web_refused_total", "Logins and changes by the web that were refused.",
                      static_cast<double>(m_refusals));
    addDaemons(families, m_now);
    addHistories(families, m_now, m_figures);
    addInterfaces(families, m_now);
    addSupervision(families, m_figures);
    addCommands(families, m_figures);
    addPairing(families, m_figures);
    addHost(families, m_figures);
    return families.take();
  }

 private:
  const Snapshot& m_now;
  const Figures& m_figures;
  const std::uint64_t m_refusals;
};

}  // namespace

std::string metricsOf(const Snapshot& now, const Figures& figures, std::uint64_t refusals) {
  return prometheus::TextSerializer().Serialize(SnapshotMetrics(now, figures, refusals).Collect());
}

http::Response metricsPage(const Sources& sources) {
  const Snapshot now = readSnapshot(sources, Daemons | Interfaces | Sessions);
  return {.body = metricsOf(now, readFigures(), sources.audit.refusals()),
          .type = "text/plain; version=0.0.4; charset=utf-8"};
}

}  // namespace services::web
