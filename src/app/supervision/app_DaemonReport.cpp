// What is told of a daemon and of its history, and the names of the values.
#include "app/supervision/app_DaemonReport.h"

#include <array>

#include "host/base/st_StringRepository.h"
#include "util/ut_BufferStream.h"

namespace services::app {

using framework::Value;
using framework::valueOrNone;

namespace {

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

Value::Record recordOf(const DaemonReport& daemon) {
  const ProcessView& view = daemon.view;
  return {{"Name", view.name},
          {"State", view.stateText()},
          {"StateSeconds", view.seconds},
          {"Suspended", view.suspended},
          {"Restarting", daemon.restarting},
          {"ProcessIds", Value::List(view.pids.begin(), view.pids.end())},
          {"DataKiB", daemon.dataKilobytes},
          {"Generation", view.generation},
          {"Marks", view.markText()},
          {"Failing", view.failures},
          {"Restarts", Value::Record{{"LastHour", daemon.restartsLastHour},
                                     {"LastDay", daemon.restartsLastDay},
                                     {"Ever", daemon.sums.restarts}}},
          {"SecondsDown", timesDown(daemon.sums)},
          {"LastOutcome", valueOrNone(view.commandText())},
          {"NextStep", daemon.nextStep},
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
