// The files in which the audit survives the host.
#include "web/wb_AuditFile.h"

#include <fstream>
#include <sstream>

#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "util/ut_FileOutputStream.h"

namespace services::web {

using utility::Path;

namespace {

constexpr std::int64_t maxSize = 1 << 19;
constexpr int fileMode = 0600;

std::string earlierOf(const std::string& path) { return path + ".1"; }

// The whole lines of a file. A torn end is cut off, so that the next line does
// not continue it.
void addLines(const std::string& path, std::vector<std::string>& lines) {
  std::ifstream file(Path::located(path), std::ios::binary);
  std::stringstream content;
  content << file.rdbuf();
  const std::string text = content.str();
  const std::size_t whole = text.rfind('\n') + 1;
  if (whole < text.size()) Path::truncate(path.c_str(), static_cast<std::int64_t>(whole));
  std::istringstream rest(text.substr(0, whole));
  for (std::string line; std::getline(rest, line);) lines.push_back(line);
}

}  // namespace

std::vector<std::string> AuditFile::load() {
  std::vector<std::string> lines;
  if (m_path.empty()) return lines;
  addLines(earlierOf(m_path), lines);
  addLines(m_path, lines);
  return lines;
}

void AuditFile::append(const std::string& line) {
  if (m_path.empty()) return;
  const bool failed = !makeRoom(line.size()) || !write(line);
  if (failed && !m_failed) {
    framework::Logger::StaticLog(framework::LogType::Warning,
                                 "audit: %s cannot be written; records are lost at the host's end",
                                 m_path.c_str());
  }
  m_failed = failed;
}

bool AuditFile::makeRoom(std::size_t size) const {
  if (Path::fileSize(m_path.c_str()) + static_cast<std::int64_t>(size) <= maxSize) return true;
  return Path::move(m_path.c_str(), earlierOf(m_path).c_str()) == 0;
}

bool AuditFile::write(const std::string& line) const {
  {
    utility::FileOutputStream file(m_path.c_str(), true, fileMode);
    if (!file.SendOutputStream(line.data(), static_cast<unsigned int>(line.size()))) return false;
  }
  return utility::synchroniseFile(m_path.c_str()) == 0;
}

}  // namespace services::web
