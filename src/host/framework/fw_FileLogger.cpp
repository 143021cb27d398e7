// The service that writes the log to a file and moves full files aside.
#include "host/framework/fw_FileLogger.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <vector>

#include "host/framework/fw_Config.h"
#include "host/framework/ut_DirIterator.h"
#include "host/framework/ut_Path.h"
#include "util/ut_PutStream.h"

namespace framework {

namespace {

constexpr const char* fileName = "mc.log";
constexpr unsigned int fileMode = 0600;

using PathBuffer = std::array<char, 256>;

PathBuffer numbered(const std::string& path, unsigned int number) {
  PathBuffer text;
  std::snprintf(text.data(), text.size(), "%s.%06u", path.c_str(), number);
  return text;
}

// Calls `visit` with the number of each file that was moved aside.
template <typename Visit>
void forEachMoved(const std::string& directory, const std::string& path, Visit visit) {
  utility::DirIterator files(directory.c_str(), "mc.log.[0-9][0-9][0-9][0-9][0-9][0-9]*");
  while (const char* file = files.next()) {
    visit(static_cast<unsigned int>(std::strtoul(file + path.size() + 1, nullptr, 10)));
  }
}

}  // namespace

const ServiceInfo FileLogger::m_serviceInfoData = {
    strings::tGSAppFileLogger, strings::tGSAppFileLogger, strings::tGSserviceClass};

FileLogger::FileLogger(const char* name, const char* /*second*/) : ActiveService(name) {
  const Config& config = *Config::getConfig(0, nullptr);
  const char* directory = "";
  config.getStringValueOf(name, "directory", true, &directory);
  config.getIntValueOf(name, "maxSize", false, &m_maxSize);
  config.getIntValueOf(name, "keep", false, &m_keep);
  config.getBoolValueOf(name, "archive", false, &m_archive);
  m_directory = directory;
  m_path = m_directory + fileName;
  if (m_directory.empty()) return;
  forEachMoved(m_directory, m_path,
               [this](unsigned int number) { m_lastNumber = std::max(m_lastNumber, number); });
  open();
}

FileLogger::~FileLogger() = default;

void FileLogger::Startup() {
  ActiveService::Startup();
  if (!m_directory.empty()) registerLogger(this);
}

void FileLogger::Shutdown() {
  unregisterLogger(this);
  ActiveService::Shutdown();
}

void FileLogger::open() {
  m_file = std::make_unique<utility::FileOutputStream>(m_path.c_str(), true, fileMode);
  m_size = std::max<std::int64_t>(0, utility::Path::fileSize(m_path.c_str()));
  if (!m_file->isOutputStreamOpen()) {
    LogError("log file %s cannot be opened (%d)", m_path.c_str(), m_file->getErrno());
  }
}

void FileLogger::takeLine(int /*type*/, const char* line, std::size_t size) {
  m_file->SendOutputStream(line, static_cast<unsigned int>(size));
  m_size += static_cast<std::int64_t>(size);
  if (m_size >= m_maxSize) moveAside();
}

void FileLogger::moveAside() {
  // Lines that a full disk lost are counted too; moving that file aside would push a full one out.
  if (utility::Path::fileSize(m_path.c_str()) < m_maxSize) return open();
  const PathBuffer dest = numbered(m_path, ++m_lastNumber);
  migrateFile(m_path.c_str(), dest.data(), m_archive);
  open();
  m_size = 0;  // also where it was not moved: its error line would make the next line try again
  removeOldest();
}

int FileLogger::migrateFile(const char* source, const char* dest, bool /*archive*/) {
  const int result = utility::Path::move(source, dest);
  if (result != 0) LogError("log file %s cannot be moved to %s", source, dest);
  return result;
}

void FileLogger::removeOldest() const {
  // By how many there are: a file like mc.log.20261122, made by hand, must not make the others old,
  // nor take the place of one.
  std::vector<unsigned int> numbers;
  forEachMoved(m_directory, m_path, [&](unsigned int number) {
    if (number <= m_lastNumber) numbers.push_back(number);
  });
  std::ranges::sort(numbers, std::greater());
  for (std::size_t i = static_cast<std::size_t>(m_keep); i < numbers.size(); ++i) {
    utility::Path::remove(numbered(m_path, numbers[i]).data());
  }
}

void FileLogger::information(utility::PutStream& stream, int indentation, bool /*detailed*/) const {
  stream.Indent(indentation);
  stream.PutF("%s, moved aside at %d bytes, %d kept%s\n", m_path.c_str(), m_maxSize, m_keep,
              m_archive ? ", archived" : "");
}

}  // namespace framework
