// Writing a compressed archive that appears whole or not at all.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

struct gzFile_s;

namespace utility {

/// A new file, a tar archive (POSIX.1-1988) compressed by gzip, for its owner alone. It is written
/// under temporaryName() and gets its name when it is complete and on the disk, so a kill leaves a
/// file of that other name at most; the next archive of the same name takes it away.
///
/// What is added goes to the file at once; memory is needed for the compression alone, some 300
/// KiB. After the first failure nothing more is written. For one thread at a time.
class Archive {
 public:
  /// Nothing may stand at `path`, not even a link.
  explicit Archive(std::string path);
  /// One that was not finished leaves nothing.
  ~Archive();
  Archive(const Archive&) = delete;
  Archive& operator=(const Archive&) = delete;

  /// The error number of the first failure; 0 when all went well so far.
  int error() const { return m_error; }

  /// Adds a file of this name, at most 100 bytes, and content.
  void add(const std::string& name, std::string_view content);

  /// Adds one of that size, whose content comes piece by piece. What is more is left out, what
  /// is missing at end() is made up for by line feeds.
  void begin(const std::string& name, std::int64_t size);
  void write(std::string_view content);
  void end();

  /// The bytes that were added.
  std::int64_t added() const { return m_added; }

  /// Completes the archive and gives it its name, unless something stands there by now (EEXIST).
  /// Answers error().
  int finish();

  static std::string temporaryName(const std::string& path) { return path + ".part"; }

 private:
  void open();
  void put(std::string_view bytes);
  void fail();

  std::string m_path;
  std::string m_temporary;
  gzFile_s* m_file = nullptr;
  int m_error = 0;
  std::int64_t m_left = 0;  // of the present file's content
  std::int64_t m_size = 0;  // the present file's
  std::int64_t m_added = 0;
};

}  // namespace utility
