// The service that writes the log to a file and moves full files aside.
#include "host/service/fw_FileLogger.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "host/base/ut_DirIterator.h"
#include "host/base/ut_Path.h"
#include "host/service/fw_Config.h"
#include "util/ut_PutStream.h"

namespace framework {

namespace {

constexpr const char* fileName = "mc.log";
constexpr unsigned int fileMode = 0600;

// No number is larger: so many files outlast the disk, and a date, 20261122, is one of more digits.
constexpr unsigned long largestNumber = 9999999;
// A number so far beyond the one before it was given by hand, as 261122 is.
constexpr unsigned int farthest = 100000;

std::string numbered(const std::string& path, unsigned long number) {
  std::array<char, 24> suffix;
  std::snprintf(suffix.data(), suffix.size(), ".%06lu", number);
  return path + suffix.data();
}

// The numbers of the files that were moved aside, in ascending order. A name that is not its
// number's own text, "mc.log.000007.gz", is none of theirs.
std::vector<unsigned int> movedNumbers(const std::string& directory, const std::string& path) {
  std::vector<unsigned int> numbers;
  utility::DirIterator files(directory.c_str(), "mc.log.[0-9]*");
  while (const char* file = files.next()) {
    const unsigned long number = std::strtoul(file + path.size() + 1, nullptr, 10);
    if (number > largestNumber || numbered(path, number) != file) continue;
    numbers.push_back(static_cast<unsigned int>(number));
  }
  std::ranges::sort(numbers);
  return numbers;
}

// The last of the numbers that the log itself can have given.
unsigned int lastOf(const std::vector<unsigned int>& numbers) {
  unsigned int last = numbers.empty() ? 0 : numbers.front();
  for (const unsigned int number : numbers) {
    if (number - last > farthest) break;
    last = number;
  }
  return last;
}

}  // namespace

const ServiceInfo FileLogger::m_serviceInfoData = {
    strings::token<"AppFileLogger">, strings::token<"AppFileLogger">, strings::tGSserviceClass};

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
  m_lastNumber = lastOf(movedNumbers(m_directory, m_path));
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

bool FileLogger::open() {
  const bool wasClosed = m_file != nullptr && !m_file->isOutputStreamOpen();
  m_file = std::make_unique<utility::FileOutputStream>(m_path.c_str(), true, fileMode);
  m_size = std::max<std::int64_t>(0, utility::Path::fileSize(m_path.c_str()));
  const bool isOpen = m_file->isOutputStreamOpen();
  if (isOpen && wasClosed) {
    LogWarning("log file %s is open again, %u lines are missing in it", m_path.c_str(), m_missing);
    m_missing = 0;
  } else if (!isOpen && !wasClosed) {
    LogError("log file %s cannot be opened (%d)", m_path.c_str(), m_file->getErrno());
  }
  return isOpen;
}

void FileLogger::takeLine(int /*type*/, const char* line, std::size_t size) {
  if (!m_file->isOutputStreamOpen() && !open()) {
    ++m_missing;
    return;
  }
  m_file->SendOutputStream(line, static_cast<unsigned int>(size));
  m_size += static_cast<std::int64_t>(size);
  if (m_size >= m_maxSize) moveAside();
}

void FileLogger::moveAside() {
  // Lines that a full disk lost are counted too; moving that file aside would push a full one out.
  if (utility::Path::fileSize(m_path.c_str()) < m_maxSize) {
    open();
    return;
  }
  migrateFile(m_path.c_str(), nextFree().c_str(), m_archive);
  open();
  m_size = 0;  // also where it was not moved: its error line would make the next line try again
  removeOldest();
}

std::string FileLogger::nextFree() {
  std::string path;
  do path = numbered(m_path, ++m_lastNumber);
  while (utility::Path::exists(path.c_str()));
  return path;
}

int FileLogger::migrateFile(const char* source, const char* dest, bool /*archive*/) {
  const int result = utility::Path::move(source, dest);
  if (result != 0) LogError("log file %s cannot be moved to %s", source, dest);
  return result;
}

// By how many there are, the numbers may have gaps.
void FileLogger::removeOldest() const {
  std::vector<unsigned int> numbers = movedNumbers(m_directory, m_path);
  std::erase_if(numbers, [this](unsigned int number) { return number > m_lastNumber; });
  const auto kept = static_cast<std::size_t>(m_keep);
  for (std::size_t i = 0; i + kept < numbers.size(); ++i) {
    utility::Path::remove(numbered(m_path, numbers[i]).c_str());
  }
}

void FileLogger::information(utility::PutStream& stream, int indentation, bool /*detailed*/) const {
  stream.Indent(indentation);
  stream.PutF("%s, moved aside at %d bytes, %d kept%s\n", m_path.c_str(), m_maxSize, m_keep,
              m_archive ? ", archived" : "");
}

}  // namespace framework
