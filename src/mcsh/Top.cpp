// The picture of "mcsh top": the daemons, what is wrong first.
#include "mcsh/Top.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace mcsh {

namespace {

using Look = ScreenLine::Look;

// From the worst to what is well.
enum class Concern { Wrong, Passing, Unknown, Suspended, None };

Concern concernOf(const DaemonLine& daemon) {
  const bool isUp = daemon.state == "Up";
  if (!daemon.marks.empty()) return Concern::Wrong;
  if (daemon.suspended) return isUp ? Concern::None : Concern::Suspended;
  if (isUp) return Concern::None;
  if (daemon.state == "Unclassified") return Concern::Unknown;
  return daemon.state == "Starting" || daemon.state == "GoingDown" ? Concern::Passing
                                                                   : Concern::Wrong;
}

Look lookOf(Concern concern) {
  constexpr std::array<Look, 5> looks = {Look::Bad, Look::Passing, Look::Dim, Look::Dim,
                                         Look::Good};
  return looks[static_cast<std::size_t>(concern)];
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text + "  ";
}

std::string numbered(std::int64_t number, std::size_t width) {
  const std::string text = std::to_string(number);
  return std::string(width - std::min(width, text.size()), ' ') + text + "  ";
}

// "4s", "12m", "3h", "5d".
std::string ageOf(std::int64_t seconds) {
  constexpr std::int64_t minute = 60;
  constexpr std::int64_t hour = 60 * minute;
  constexpr std::int64_t day = 24 * hour;
  if (seconds < 2 * minute) return std::to_string(seconds) + "s";
  if (seconds < 2 * hour) return std::to_string(seconds / minute) + "m";
  return seconds < 2 * day ? std::to_string(seconds / hour) + "h"
                           : std::to_string(seconds / day) + "d";
}

std::string rowOf(const DaemonLine& daemon, std::size_t nameWidth) {
  std::string note = daemon.marks;
  for (const std::string& more :
       {std::string(daemon.suspended ? "suspended" : ""), daemon.nextStep}) {
    if (!more.empty()) note += (note.empty() ? "" : ", ") + more;
  }
  return padded(daemon.name, nameWidth) + padded(daemon.state, 12) +
         padded(ageOf(daemon.seconds), 5) + numbered(daemon.restartsLastDay, 8) +
         numbered(daemon.dataKilobytes, 9) + note;
}

std::size_t countOf(const DaemonListing& listing, Concern concern) {
  return static_cast<std::size_t>(std::ranges::count(listing.daemons, concern, concernOf));
}

std::string counted(std::size_t count, const char* what) {
  return std::to_string(count) + (count == 1 ? " daemon " : " daemons ") + what;
}

// What is to be said of the daemons that are neither wrong nor well, after a comma each.
std::string restOf(const DaemonListing& listing) {
  std::string rest;
  const auto add = [&](Concern concern, const char* what) {
    const std::size_t count = countOf(listing, concern);
    if (count > 0) rest += ", " + std::to_string(count) + " " + what;
  };
  add(Concern::Passing, "on the way");
  add(Concern::Unknown, "not yet judged");
  add(Concern::Suspended, "suspended");
  return rest;
}

}  // namespace

std::string headlineOf(const DaemonListing& listing) {
  if (listing.daemons.empty()) return "No daemon is supervised.";
  const std::size_t wrong = countOf(listing, Concern::Wrong);
  if (wrong == 0) {
    const std::size_t well = countOf(listing, Concern::None);
    const bool isAll = well == listing.daemons.size();
    return (isAll ? "All is well: " : "Nothing is wrong: ") + counted(well, "up") +
           restOf(listing) + ".";
  }
  std::string names;
  for (const DaemonLine& daemon : listing.daemons) {
    if (concernOf(daemon) == Concern::Wrong) names += (names.empty() ? "" : ", ") + daemon.name;
  }
  return counted(wrong, "of ") + std::to_string(listing.daemons.size()) +
         (wrong == 1 ? " needs" : " need") + " a look: " + names + restOf(listing) + ".";
}

std::vector<ScreenLine> pictureOf(DaemonListing listing, std::size_t rows) {
  std::ranges::stable_sort(listing.daemons, {}, [](const DaemonLine& daemon) {
    return std::tuple(concernOf(daemon), -daemon.restartsLastDay);
  });
  std::size_t nameWidth = 4;
  for (const auto& daemon : listing.daemons) nameWidth = std::max(nameWidth, daemon.name.size());
  const bool isWrong = countOf(listing, Concern::Wrong) > 0;
  std::vector<ScreenLine> lines = {{headlineOf(listing), isWrong ? Look::Bad : Look::Bold}};
  for (const std::string& remark : listing.remarks) lines.push_back({remark, Look::Passing});
  lines.push_back({"", Look::Plain});
  lines.push_back(
      {padded("NAME", nameWidth) + "STATE         FOR    RESTARTS     MEMORY  NOTE", Look::Bold});
  for (const DaemonLine& daemon : listing.daemons) {
    lines.push_back({rowOf(daemon, nameWidth), lookOf(concernOf(daemon))});
  }
  if (lines.size() > rows && rows > 0) {
    const std::size_t left = lines.size() - rows + 1;
    lines.resize(rows - 1);
    lines.push_back({"and " + std::to_string(left) + " lines more", Look::Dim});
  }
  return lines;
}

}  // namespace mcsh
