// The log-migration daemon of the bench: archives the log files that a manifest lists.
//
//   logmigrated LOG-DIRECTORY ARCHIVE-DIRECTORY
//
// On signal 45, and at its start, it copies each listed file to the archive, durably, and then
// deletes the manifest, which tells that all of them are archived; a file that cannot be copied
// keeps it until the next signal. SIGTERM ends it.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace fs = std::filesystem;

namespace {

constexpr int migrationSignal = 45;

void flush(const fs::path& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return;
  ::fsync(file);
  ::close(file);
}

// A copy under a name of its own first, so that the archive holds no half of a file. False when the
// file is not archived and still could be.
bool archive(const fs::path& file, const fs::path& directory) {
  const fs::path copy = directory / file.filename();
  const fs::path unfinished = copy.string() + ".part";
  std::error_code failure;
  fs::copy_file(file, unfinished, fs::copy_options::overwrite_existing, failure);
  if (!failure) {
    flush(unfinished);
    fs::rename(unfinished, copy, failure);
  }
  if (!failure) return true;
  std::cerr << "logmigrated: " << file << ": " << failure.message() << "\n";
  return !fs::exists(file);
}

void migrate(const fs::path& logs, const fs::path& directory) {
  const fs::path manifest = logs / "logArchive.manifest";
  std::ifstream list(manifest);
  if (!list) return;
  bool complete = true;
  for (std::string line; std::getline(list, line);) complete &= archive(line, directory);
  flush(directory);
  if (complete) fs::remove(manifest);
}

}  // namespace

int main(int count, char** values) {
  if (count != 3) {
    std::cerr << "usage: logmigrated LOG-DIRECTORY ARCHIVE-DIRECTORY\n";
    return EXIT_FAILURE;
  }
  sigset_t awaited;
  sigemptyset(&awaited);
  sigaddset(&awaited, migrationSignal);
  sigaddset(&awaited, SIGTERM);
  sigprocmask(SIG_BLOCK, &awaited, nullptr);
  fs::create_directories(values[2]);
  do {
    migrate(values[1], values[2]);
  } while (sigwaitinfo(&awaited, nullptr) != SIGTERM);
  return EXIT_SUCCESS;
}
