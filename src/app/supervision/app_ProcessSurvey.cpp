// Which records match which of the running processes, for those who wonder.
#include "app/supervision/app_ProcessSurvey.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "app/supervision/app_CommandLine.h"
#include "app/supervision/app_DaemonEntry.h"
#include "app/supervision/app_Process.h"
#include "app/supervision/app_StartPreview.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Path.h"
#include "host/base/ut_ProcessDirectory.h"
#include "host/console/fw_ApplicationArguments.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_RunningCheck.h"
#include "util/fw_ShownText.h"
#include "util/ut_PutStream.h"

namespace services::app {

namespace {

constexpr std::size_t longestEntry = 127;

const Process& recordAt(const utility::ItemDirectory& table, unsigned int index) {
  return dynamic_cast<const Process&>(*table.ElementAt(index));
}

std::string shown(std::string text) {
  while (text.ends_with(' ')) text.pop_back();
  return framework::shownText(text);
}

SurveyedProcess survey(const utility::ItemDirectory& table, int pid, CommandLine& commandLine) {
  std::array<char, 256> baseName;
  commandLine.copyBaseName(baseName.data(), baseName.size());
  const char* const text = commandLine.text();
  SurveyedProcess process = {
      .pid = pid, .program = shown(baseName.data()), .commandLine = shown(text)};
  for (unsigned int i = 0; i < table.Length(); ++i) {
    const Process& record = recordAt(table, i);
    if (record.match(baseName.data(), text)) process.records.push_back(&record);
  }
  return process;
}

// How a record stands to a process; empty when they have nothing to do with each other.
std::string relation(const Process& record, const SurveyedProcess& process) {
  if (std::ranges::find(process.records, &record) == process.records.end()) {
    return process.program.starts_with(record.getNameString()) ? "nearly" : "";
  }
  const Process& first = *process.records.front();
  return &first == &record ? "claims" : std::string("taken by ") + first.getNameString();
}

std::string namesOf(const std::vector<const Process*>& records) {
  std::string names;
  for (const Process* record : records) {
    if (!names.empty()) names += ", ";
    names += record->getNameString();
  }
  return names;
}

bool matchesAny(const Process& record, const std::vector<SurveyedProcess>& processes) {
  return std::ranges::any_of(processes, [&](const SurveyedProcess& process) {
    return std::ranges::find(process.records, &record) != process.records.end();
  });
}

// A pattern for the program that a process runs, by its first word, as an entry of the list; empty
// where none is of use.
std::string proposalFor(const Process& record, const SurveyedProcess& process) {
  std::string pattern = "^";
  const std::string& line = process.commandLine;
  for (const char one : line.substr(0, line.find(' '))) {
    if (std::strchr(".[]()*+?{}|^$\\", one) != nullptr) pattern += '\\';
    pattern += one;
  }
  const std::string entry = record.getNameString() + ("/" + pattern) + "( |$)";
  return entry.size() <= longestEntry && framework::isShown(entry) ? entry : "";
}

// What might fit a record that no process matches.
std::string hintFor(const Process& record, const std::vector<SurveyedProcess>& processes) {
  for (const SurveyedProcess& process : processes) {
    const std::string entry = relation(record, process) == "nearly" && process.records.empty()
                                  ? proposalFor(record, process)
                                  : "";
    if (entry.empty()) continue;
    return ", but " + process.program + " (" + std::to_string(process.pid) + ") runs; is \"" +
           entry + "\" meant?";
  }
  return "";
}

utility::ItemDirectory tableOf(const utility::StringArray& list) {
  utility::ItemDirectory table(list.Length());
  for (unsigned int i = 0; i < list.Length(); ++i) {
    const DaemonEntry entry(list.ElementAt(i));
    if (entry.name.empty()) continue;
    const char* pattern = entry.hasPattern ? entry.pattern.c_str() : nullptr;
    table.add(std::make_unique<Process>(strings::GS.toToken(entry.name.c_str()), false, pattern));
  }
  return table;
}

// The list of daemons of a configuration against the processes that run now.
std::vector<std::string> checkRunning(const framework::Config& config, const char* instance,
                                      utility::PutStream& stream,
                                      const framework::RunningCheck::Ask& ask) {
  const auto* list = config.propertyAsStringArray(
      framework::Config::concatName(instance, strings::pGSdata, false));
  if (list == nullptr) return {};
  const utility::ItemDirectory table = tableOf(*list);
  const std::vector<SurveyedProcess> processes = surveyProcesses(table);
  for (unsigned int i = 0; i < table.Length(); ++i) {
    explainRecord(recordAt(table, i), processes, stream);
  }
  std::vector<std::string> names;
  for (unsigned int i = 0; i < table.Length(); ++i) {
    names.emplace_back(recordAt(table, i).getNameString());
  }
  const std::vector<std::string> changes = previewStart(names, ask("process list"));
  if (!changes.empty())
    stream.PutS("a start with this configuration changes on the running host\n");
  for (const std::string& change : changes) stream.PutF("%s\n", change.c_str());
  const char* host = framework::ApplicationArguments::getArgs().ArgValue(0);
  return surveyWarnings(table, processes, host == nullptr ? "" : utility::Path::baseName(host));
}

const framework::RunningCheck runningCheckAppManager(strings::pGSAppManager, checkRunning);

}  // namespace

std::vector<SurveyedProcess> surveyProcesses(const utility::ItemDirectory& table) {
  std::vector<SurveyedProcess> processes;
  std::vector<int> pids;
  utility::ProcessDirectory().list(pids);
  for (const int pid : pids) {
    CommandLine commandLine;
    if (commandLine.read(utility::ProcessDirectory::open(pid))) {
      processes.push_back(survey(table, pid, commandLine));
    }
  }
  return processes;
}

void explainRecord(const Process& record, const std::vector<SurveyedProcess>& survey,
                   utility::PutStream& stream) {
  const char* const pattern = record.getPattern();
  if (pattern != nullptr) {
    stream.PutF("%s: command lines that match %s\n", record.getNameString(), pattern);
  } else {
    stream.PutF("%s: programs of that name%s\n", record.getNameString(),
                record.isPatternBroken() ? ", since its pattern does not compile" : "");
  }
  framework::TableRows rows;
  for (const SurveyedProcess& process : survey) {
    const std::string how = relation(record, process);
    if (how.empty()) continue;
    rows.push_back({how, std::to_string(process.pid), process.program, process.commandLine});
  }
  if (rows.empty()) {
    stream.PutS("no running process\n");
    return;
  }
  framework::writeTable(stream,
                        {{"HOW", "How"},
                         {"PID", "ProcessId", framework::Cell::Number},
                         {"PROGRAM", "Program"},
                         {"COMMAND LINE", "CommandLine"}},
                        rows);
}

std::vector<std::string> surveyWarnings(const utility::ItemDirectory& table,
                                        const std::vector<SurveyedProcess>& survey,
                                        const std::string& host) {
  std::vector<SurveyedProcess> hosts;
  std::vector<SurveyedProcess> others;
  std::vector<std::string> warnings;
  const std::string itself = ": matches " + host + " itself";
  for (const SurveyedProcess& process : survey) {
    (process.program == host ? hosts : others).push_back(process);
  }
  for (unsigned int i = 0; i < table.Length(); ++i) {
    const Process& record = recordAt(table, i);
    const std::string name = record.getNameString();
    if (!matchesAny(record, others)) {
      warnings.push_back(name + ": no running process matches" + hintFor(record, others));
    }
    if (matchesAny(record, hosts)) warnings.push_back(name + itself);
  }
  for (const SurveyedProcess& process : others) {
    if (process.records.size() < 2) continue;
    warnings.push_back("process " + std::to_string(process.pid) + " (" + process.program +
                       ") matches " + namesOf(process.records) + "; the first of them gets it");
  }
  return warnings;
}

}  // namespace services::app
