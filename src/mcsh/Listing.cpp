// What the host answers to "--json COMMAND", as values.
#include "mcsh/Listing.h"

#include <boost/json/src.hpp>
#include <stdexcept>

#include "util/fw_ShownText.h"

namespace mcsh {

namespace {

using boost::json::object;
using boost::json::value;

// The host of another release may leave a value out.
std::int64_t numberIn(const object& record, const char* name) {
  const value* found = record.if_contains(name);
  return found != nullptr && found->is_int64() ? found->as_int64() : 0;
}

bool flagIn(const object& record, const char* name) {
  const value* found = record.if_contains(name);
  return found != nullptr && found->is_bool() && found->as_bool();
}

std::string shownOf(const value& text) {
  return text.is_string() ? framework::shownText(std::string_view(text.as_string())) : "";
}

std::string textIn(const object& record, const char* name) {
  const value* found = record.if_contains(name);
  return found == nullptr ? "" : shownOf(*found);
}

template <typename Each>
void forEachIn(const object& record, const char* name, const Each& each) {
  const value* found = record.if_contains(name);
  if (found == nullptr || !found->is_array()) return;
  for (const value& one : found->as_array()) each(one);
}

object parsed(const std::string& json) {
  boost::json::error_code error;
  value whole = boost::json::parse(json, error);
  if (error || !whole.is_object()) throw std::runtime_error("the host answers no JSON");
  return std::move(whole.as_object());
}

DaemonLine daemonOf(const object& record) {
  DaemonLine daemon{.name = textIn(record, "Name"),
                    .state = textIn(record, "State"),
                    .seconds = numberIn(record, "StateSeconds"),
                    .dataKilobytes = numberIn(record, "DataKiB"),
                    .suspended = flagIn(record, "Suspended"),
                    .marks = textIn(record, "Marks"),
                    .nextStep = textIn(record, "NextStep")};
  if (const value* restarts = record.if_contains("Restarts"); restarts && restarts->is_object()) {
    daemon.restartsLastDay = numberIn(restarts->as_object(), "LastDay");
  }
  return daemon;
}

}  // namespace

DaemonListing daemonsOf(const std::string& json) {
  const object whole = parsed(json);
  DaemonListing listing;
  forEachIn(whole, "Members", [&](const value& one) {
    if (one.is_object()) listing.daemons.push_back(daemonOf(one.as_object()));
  });
  forEachIn(whole, "Lines", [&](const value& line) { listing.remarks.push_back(shownOf(line)); });
  return listing;
}

Tail tailOf(const std::string& json) {
  const object whole = parsed(json);
  Tail tail{.lines = {}, .last = numberIn(whole, "Last"), .skipped = numberIn(whole, "Skipped")};
  forEachIn(whole, "Members", [&](const value& one) {
    if (one.is_object()) tail.lines.push_back(textIn(one.as_object(), "Message"));
  });
  return tail;
}

}  // namespace mcsh
