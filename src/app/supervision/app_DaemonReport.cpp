// What is told of a daemon and of its history, and the names of the values.
#include "app/supervision/app_DaemonReport.h"

#include <array>
#include <sstream>

#include "app/supervision/app_Why.h"
#include "host/base/st_StringRepository.h"
#include "util/ut_BufferStream.h"
#include "util/ut_VirtualPutStream.h"

namespace services::app {

using framework::Value;
using framework::valueOrNone;

namespace {

constexpr std::int64_t hour = 3600 * std::int64_t{1000000};

// Collects text.
class TextOutput : public framework::OutputStream {
 public:
  bool StartOutputStream() override { return true; }
  void EndOutputStream() override {}
  bool SendOutputStream(const char* data, unsigned int size) override {
    m_text.append(data, size);
    return true;
  }
  bool isOutputStreamOpen() override { return true; }
  bool isOutputStreamInError() override { return false; }
  bool isOutputStreamAtEnd() override { return false; }

  std::string m_text;
};

// By whom, why and until when; nothing of what the start suspended.
Value suspensionOf(const DaemonReport& daemon) {
  const auto& suspension = daemon.view.suspension;
  if (!daemon.view.suspended) return {};
  if (!suspension) return Value::Record{{"By", {}}, {"Reason", {}}, {"Until", {}}};
  return Value::Record{
      {"By", valueOrNone(suspension->by)},
      {"Reason", valueOrNone(suspension->reason)},
      {"Until", suspension->until == 0 ? Value() : framework::timeValue(suspension->until)}};
}

Value::Record timesDown(const History::Summary& sums) {
  if (sums.timesDown == 0) return {{"Mean", {}}, {"Worst", {}}};
  return {{"Mean", sums.secondsDown / sums.timesDown}, {"Worst", sums.worst}};
}

}  // namespace

DaemonReport reportOf(const ProcessView& view, const History& history, std::int64_t now) {
  return {.view = view,
          .restartsLastHour = history.restartsSince(view.name, now - hour),
          .restartsLastDay = history.restartsSince(view.name, now - 24 * hour),
          .sums = history.summary(view.name),
          .asOf = now};
}

std::vector<std::string> whyLines(const ProcessView& view) {
  TextOutput text;
  utility::VirtualPutStream stream(text, 1024, 512);
  writeWhy(view.name.c_str(), view.facts, stream);
  stream.FlushOutputStream();
  std::istringstream content(text.m_text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(content, line);) lines.push_back(line);
  return lines;
}

Value::Record recordOf(const DaemonReport& daemon) {
  const ProcessView& view = daemon.view;
  return {{"Name", view.name},
          {"State", view.stateText()},
          {"StateSeconds", view.seconds},
          {"Suspended", view.suspended},
          {"Restarting", view.restarting},
          {"ProcessIds", Value::List(view.pids.begin(), view.pids.end())},
          {"DataKiB", view.dataKilobytes},
          {"Generation", view.generation},
          {"Marks", view.markText()},
          {"Failing", view.failures},
          {"Restarts", Value::Record{{"LastHour", daemon.restartsLastHour},
                                     {"LastDay", daemon.restartsLastDay},
                                     {"Ever", daemon.sums.restarts}}},
          {"SecondsDown", timesDown(daemon.sums)},
          {"LastOutcome", valueOrNone(view.commandText())},
          {"NextStep", nextStep(view.facts)},
          {"Suspension", suspensionOf(daemon)},
          {"Health", valueOrNone(view.health.text())},
          {"Why", Value::List(daemon.why.begin(), daemon.why.end())},
          {"AsOf", framework::timeValue(daemon.asOf)}};
}

Value::Record recordOf(const HistoryEntry& entry) {
  constexpr auto toText = strings::StringRepository::toString;
  return {{"Time", framework::timeValue(entry.at)},
          {"Name", entry.daemon},
          {"From", toText(entry.from)},
          {"To", toText(entry.to)},
          {"Restart", entry.restart},
          {"SecondsDown", entry.secondsDown < 0 ? Value() : Value(entry.secondsDown)},
          {"What", entry.what},
          {"Cause", entry.cause},
          {"Outcome", valueOrNone(entry.outcome)}};
}

Value::Record recordOf(const memtrack_& sample) {
  std::array<char, 32> time{};
  utility::BufferStream stream(time.data(), time.size(), true);
  sample.timeStamp.ToISOBuffer(stream);
  return {{"Time", time.data()},
          {"TotalBytes", sample.totalBytes},
          {"UsedBytes", sample.usedBytes},
          {"FreeBytes", sample.freeBytes},
          {"ExtraBytes", sample.extraBytes},
          {"SystemFreeKiB", sample.sysBytesFree},
          {"SystemFreePercent", sample.sysPercentFree}};
}

}  // namespace services::app
