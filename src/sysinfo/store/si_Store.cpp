// The durable values: rows in a file that survives power loss and damage.
#include "sysinfo/store/si_Store.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"

namespace services::sysinfo {

namespace {

using framework::Logger;
using framework::LogType;
using State = Keeper::State;
using utility::Path;

std::string copyOf(const std::string& path) { return path + ".good"; }

// The journal belongs to the file: left behind it would be played back into the next one.
constexpr const char* journalSuffix = "-journal";

// Moves the file out of the way, under the first free name.
std::string setAside(const std::string& path, const char* why) {
  std::string aside;
  for (int number = 1; aside.empty() || Path::exists(aside.c_str()); ++number) {
    aside = path + "." + why + "-" + std::to_string(number);
  }
  Path::moveNew((path + journalSuffix).c_str(), (aside + journalSuffix).c_str());
  return Path::moveNew(path.c_str(), aside.c_str()) == 0 ? aside : std::string();
}

// Opens a file; one that must not be used is set aside, and opening begins anew.
std::unique_ptr<Keeper> openUsable(const std::string& path) {
  auto database = std::make_unique<Keeper>(Path::located(path));
  const State state = database->state();
  if (state != State::Damaged && state != State::Newer) return database;
  const std::string cause = database->error();
  database.reset();
  const std::string aside = setAside(path, state == State::Newer ? "newer" : "damaged");
  Logger::StaticLog(LogType::Error, "system information: %s cannot be used (%s): kept as %s",
                    path.c_str(), cause.c_str(), aside.empty() ? "it is" : aside.c_str());
  if (aside.empty()) return nullptr;
  return std::make_unique<Keeper>(Path::located(path));
}

// Writes a complete copy of the database to `path`, in place of what is there.
bool copyInto(Keeper& database, const std::string& path) {
  const std::string temporary = utility::temporaryOf(path);
  Path::remove(temporary.c_str());
  if (!database.copyTo(Path::located(temporary))) {
    Path::remove(temporary.c_str());
    return false;
  }
  return utility::moveIntoPlace(temporary.c_str(), path.c_str()) == 0;
}

// The file made anew from its last good copy; null when there is none.
std::unique_ptr<Keeper> openCopy(const std::string& path) {
  if (!Path::exists(copyOf(path).c_str())) return nullptr;
  const auto copy = openUsable(copyOf(path));
  if (copy == nullptr || copy->state() != State::Good) return nullptr;
  if (!copyInto(*copy, path)) return nullptr;
  return std::make_unique<Keeper>(Path::located(path));
}

bool isUsable(const Keeper* database) {
  return database != nullptr &&
         (database->state() == State::Good || database->state() == State::Empty);
}

}  // namespace

std::string storePath() {
  return std::string(utility::Environment::configDirectory()) + "/sysinfo/" + Keeper::fileName;
}

Store::Store(const std::string& path, const Rows& initial, Render render,
             const std::function<bool()>& pause)
    : m_path(path), m_render(std::move(render)), m_rows(initial) {
  const std::lock_guard lock(m_mutex);
  if (!own(pause)) return;
  m_database = open();
  if (m_database == nullptr) {
    readCopy();
  } else if (m_database->state() == State::Good) {
    m_rows = m_database->rows();
  } else {
    Logger::StaticLog(LogType::Warning, "system information: %s begins with its first values",
                      m_path.c_str());
    if (!m_database->commit(initial)) {
      Logger::StaticLog(LogType::Error, "system information: %s: %s", m_path.c_str(),
                        m_database->error().c_str());
    }
  }
  m_known = m_database != nullptr;
  if (m_known) keepCopy();
  m_render(m_rows);
}

// False when the store is another process's.
bool Store::own(const std::function<bool()>& pause) {
  const std::string directory = Path::located(m_path.substr(0, m_path.rfind('/')));
  ::mkdir(directory.c_str(), 0777);
  m_isElsewhere = !m_lock.take(directory, pause);
  if (m_isElsewhere) {
    Logger::StaticLog(LogType::Error, "system information: %s is in use by another process",
                      m_path.c_str());
  }
  return !m_isElsewhere;
}

// The file for use, made from its good copy where nothing was stored in it. Null when it cannot be
// opened.
std::unique_ptr<Keeper> Store::open() {
  auto database = openUsable(m_path);
  if (isUsable(database.get()) && database->state() == State::Empty) {
    database.reset();
    if (auto restored = openCopy(m_path); isUsable(restored.get())) {
      Logger::StaticLog(LogType::Error, "system information: taken from its last good copy %s",
                        copyOf(m_path).c_str());
      return restored;
    }
    database = std::make_unique<Keeper>(Path::located(m_path));
  }
  if (isUsable(database.get())) return database;
  Logger::StaticLog(LogType::Error, "system information: %s cannot be opened: %s", m_path.c_str(),
                    database == nullptr ? "it could not be set aside" : database->error().c_str());
  return nullptr;
}

void Store::readCopy() {
  if (!Path::exists(copyOf(m_path).c_str())) return;
  const Keeper copy(Path::located(copyOf(m_path)));
  if (copy.state() != State::Good) return;
  m_rows = copy.rows();
  Logger::StaticLog(LogType::Error, "system information: as in the last good copy %s",
                    copyOf(m_path).c_str());
}

// The file may have been opened while nobody could write it, or be another one by now. One that was
// never read may hold more than is in force, and is not written over.
bool Store::reopen() {
  m_database.reset();
  if (!own({})) return false;
  auto database = open();
  if (database == nullptr) return false;
  if (!m_known && database->state() == State::Good && database->rows() != m_rows) {
    Logger::StaticLog(LogType::Error,
                      "system information: %s holds other values than those in force; no change is "
                      "possible until the next start",
                      m_path.c_str());
    return false;
  }
  m_database = std::move(database);
  m_known = true;
  return true;
}

void Store::keepCopy() {
  if (copyInto(*m_database, copyOf(m_path))) return;
  const std::string cause =
      m_database->error().empty() ? std::strerror(errno) : m_database->error();
  Logger::StaticLog(LogType::Warning, "system information: the copy %s could not be renewed: %s",
                    copyOf(m_path).c_str(), cause.c_str());
}

Rows Store::rows() const {
  const std::lock_guard lock(m_mutex);
  return m_rows;
}

// Commits over the open file, and failing that over the file opened anew.
bool Store::commit(const Rows& wanted) {
  if (m_database != nullptr && m_database->commit(wanted)) return true;
  return reopen() && m_database->commit(wanted);
}

bool Store::replace(const std::vector<std::string>& scopes, const Rows& rows) {
  const std::lock_guard lock(m_mutex);
  Rows wanted = m_rows;
  std::erase_if(wanted, [&scopes](const auto& row) {
    return std::ranges::find(scopes, row.first.scope) != scopes.end();
  });
  wanted.insert(rows.begin(), rows.end());
  if (!commit(wanted)) {
    Logger::StaticLog(LogType::Error, "system information: a change was not stored: %s",
                      m_database == nullptr ? "the file is not open" : m_database->error().c_str());
    return false;
  }
  m_rows = std::move(wanted);
  keepCopy();
  m_render(m_rows);
  return true;
}

}  // namespace services::sysinfo
