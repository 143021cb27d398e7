// One archive with what the maker needs to look into a fault.
//
// What may hold a secret passes through the redactor, a line at a time: no secret stands across the
// border of two pieces. A file is read twice, first for the size of what will be left of it, so
// that none has to be kept in memory or on the disk.
#include "ops/op_SupportBundle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "app/supervision/app_AppManager.h"
#include "host/base/ut_Archive.h"
#include "host/base/ut_DirIterator.h"
#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_Shell.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_PluginStamp.h"
#include "ops/op_MachineView.h"
#include "ops/op_SecretsKnown.h"
#include "sysinfo/store/si_Store.h"
#include "util/ut_OpenFile.h"
#include "util/ut_TimeMeasure.h"

namespace services::ops {

using framework::Config;
using framework::Console;
using framework::Ok;
using framework::Refused;
using utility::Environment;

namespace {

constexpr std::int64_t mostOfFile = 8 << 20;  // bytes; of a longer one the end is taken
constexpr std::int64_t mostOfAll = 32 << 20;  // bytes, before the compression
constexpr std::size_t longestLine = 65536;
constexpr std::size_t mostOldLogs = 64;

// What each of these answers is a file.
constexpr std::array answers = {
    "services",       "information",  "process list",     "process history", "process wakes",
    "interface list", "pairing show", "partner show",     "partner history", "path show",
    "sysinfo show",   "user list",    "lock list",        "portal list",     "managedlogs list",
    "debug list",     "log level",    "log tail after 0", "events after 0",  "memory stats output"};

constexpr std::array machineFiles = {"/proc/meminfo",   "/proc/mounts",   "/proc/net/dev",
                                     "/proc/net/route", "/proc/uptime",   "/proc/loadavg",
                                     "/proc/version",   "/etc/os-release"};

std::string askConsole(const std::string& line) {
  Console console;
  framework::Shell::instance().execute(line, console);
  std::string text;
  console.takeReply(text);
  return text;
}

std::string fileNameOf(std::string words) {
  std::ranges::replace(words, ' ', '-');
  return words;
}

class File {
 public:
  explicit File(const std::string& path)
      : m_descriptor(utility::openFile(path.c_str(), O_RDONLY | O_NOFOLLOW, 0)) {}
  ~File() {
    if (isOpen()) ::close(m_descriptor);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool isOpen() const { return m_descriptor >= 0; }
  struct stat status() const {
    struct stat status {};
    ::fstat(m_descriptor, &status);
    return status;
  }

  // Calls with each whole line between two places, its end with it; zeros end lines, too. Of one
  // that is too long a note is left. Ends early once `isOver`.
  void forEachLine(std::int64_t from, std::int64_t to, const std::function<bool()>& isOver,
                   const std::function<void(std::string_view line, char end)>& take) const {
    static constexpr std::string_view ends("\n\0", 2);
    std::array<char, 16384> room;
    std::string line;
    bool skips = from > 0;  // what may be the end of a line
    for (ssize_t size = 0; from < to && !isOver(); from += size) {
      const auto most = std::min<std::int64_t>(room.size(), to - from);
      size = ::pread(m_descriptor, room.data(), static_cast<std::size_t>(most), from);
      if (size <= 0) return;
      for (std::string_view rest(room.data(), static_cast<std::size_t>(size)); !rest.empty();) {
        const std::size_t end = rest.find_first_of(ends);
        if (!skips) line += rest.substr(0, end);
        if (line.size() > longestLine) {
          line = "(a line of more than 65536 bytes)";
          take(line, '\n');
          line.clear();
          skips = true;
        }
        if (end == std::string_view::npos) break;
        if (!std::exchange(skips, false)) take(line, rest[end]);
        line.clear();
        rest.remove_prefix(end + 1);
      }
    }
  }

 private:
  int m_descriptor;
};

class Bundle {
 public:
  explicit Bundle(const std::string& path) : m_archive(path) { addKnownSecrets(m_redactor); }

  // The error number of what failed; ECANCELED when the client has left.
  int write() {
    if (m_archive.error() != 0) return m_archive.error();
    addText("versions.txt", versions());
    m_archive.add("support/configuration.toml", configurationWithout(m_redactor));
    for (const char* words : answers) addText(fileNameOf(words) + ".txt", askConsole(words));
    addText("process-show.txt", daemons());
    addMachine();
    const std::string store = sysinfo::storePath();
    addFile("suspensions", store.substr(0, store.rfind('/')) + "/suspensions");
    addLogs();
    addText("left-out.txt", m_leftOut);
    return Console::isClientGone() ? ECANCELED : m_archive.finish();
  }

 private:
  bool isOver() const { return m_archive.error() != 0 || Console::isClientGone(); }

  void addText(const std::string& name, const std::string& text) {
    if (!isOver()) m_archive.add("support/" + name, m_redactor.text(text));
  }

  void leaveOut(const std::string& path, const std::string& why) {
    m_leftOut += path + ": " + why + "\n";
  }

  void addFile(const std::string& name, const std::string& path) {
    if (isOver()) return;
    const File file(path);
    if (!file.isOpen()) return leaveOut(path, std::strerror(errno));
    if (!S_ISREG(file.status().st_mode)) return leaveOut(path, "no regular file");
    const std::int64_t to = file.status().st_size;
    const std::int64_t from = std::max<std::int64_t>(0, to - mostOfFile);
    if (m_archive.added() + to - from > mostOfAll) return leaveOut(path, "the bundle is full");
    if (from > 0) leaveOut(path, "all but the last " + std::to_string(mostOfFile) + " bytes");
    std::int64_t size = 0;
    m_redactor.beginText();
    const auto over = [this] { return isOver(); };
    file.forEachLine(from, to, over, [&](std::string_view line, char) {
      size += static_cast<std::int64_t>(m_redactor.line(line).size()) + 1;
    });
    m_redactor.beginText();
    m_archive.begin("support/" + name, size);
    file.forEachLine(from, to, over, [&](std::string_view line, char end) {
      m_archive.write(m_redactor.line(line) + end);
    });
    m_archive.end();
  }

  static std::string versions() {
    std::array<char, 32> time;
    utility::TimeMeasure::printTimestamp(utility::TimeMeasure::getTimestamp(), time.data(),
                                         time.size());
    return std::string("mchost ") + MC_VERSION + "\nplug-in interface " +
           std::to_string(framework::pluginInterface) + "\ncompiler " + __VERSION__ +
           "\nwritten at " + time.data() + "\n";
  }

  static std::string daemons() {
    const auto* manager = app::AppManager::getSingleton();
    std::string text;
    if (manager == nullptr) return text;
    for (const std::string& name : manager->names()) {
      text += "== " + name + "\n" + askConsole("process show " + name) + askConsole("why " + name);
    }
    return text;
  }

  void addMachine() {
    addText("machine/processes.txt", processTable());
    addText("machine/interfaces.txt", interfaceList());
    addText("machine/system.txt", systemLines());
    for (const std::string path : machineFiles) {
      addText("machine/" + fileNameOf(path.substr(path.find('/', 1) + 1)), beginningOf(path));
    }
  }

  void addLogs() {
    if (const char* directory = Environment::GetEnv("MC_LOG_DIR")) {
      for (const char* name :
           {"daemon.history", "flight", "crash.events", "web.audit", "web.audit.1"})
        addFile(std::string("log/") + name, std::string(directory) + "/" + name);
    }
    const Config& config = *Config::getConfig();
    const char* directory = "";
    const char* destination = "";
    config.getStringValueOf("AppFileLogger", "directory", false, &directory);
    config.getStringValueOf("host", "log.destination", false, &destination);
    if (*destination == '/') addFile("log/destination", destination);
    if (*directory != '\0') addFile("log/mc.log", std::string(directory) + "mc.log");
    if (*directory != '\0') addOldLogs(directory);
  }

  // The latest first.
  void addOldLogs(const char* directory) {
    std::vector<std::string> files;
    utility::DirIterator all(directory, "mc.log.[0-9]*");
    while (const char* file = all.next()) files.emplace_back(file);
    std::ranges::sort(files, std::greater());
    for (std::size_t i = 0; i < files.size(); ++i) {
      if (i >= mostOldLogs) return leaveOut(files[i], "and older ones: the bundle has enough");
      addFile(std::string("log/") + utility::Path::baseName(files[i].c_str()), files[i]);
    }
  }

  utility::Archive m_archive;
  Redactor m_redactor;
  std::string m_leftOut;
};

}  // namespace

int supportBundle(Console& console, const utility::Arguments& arguments) {
  static std::mutex oneAtATime;
  const char* file = arguments.ArgValue(0);
  if (arguments.ArgCount() != 1) return 0;
  const std::unique_lock lock(oneAtATime, std::try_to_lock);
  if (*file != '/') {
    console.reply(Refused, "FILE must be an absolute path: the host writes it\n");
  } else if (!lock) {
    console.reply(Refused, "another support bundle is being written\n");
  } else if (const int error = Bundle(file).write(); error != 0) {
    console.reply(Refused, "Cannot write file %s: %s\n", file, std::strerror(error));
  } else {
    console.reply(Ok, "Saved the support bundle to %s\n", file);
  }
  return 1;
}

}  // namespace services::ops
