// Replacing files so that a crash at any point leaves the old content or the new.
#pragma once

#include <string>
#include <string_view>

namespace utility {

/// The name under which the next content of `path` is written, beside it.
std::string temporaryOf(const std::string& path);

/// Puts the complete file `temporary` in place of `path`: its content reaches the disk, then its
/// name, then the directory. 0, or -1 with errno; the temporary file is then removed, and the old
/// content stands, or the new where only the last step failed. A target that is there but may not
/// be written is not replaced.
int moveIntoPlace(const char* temporary, const char* path);

/// The same to where nothing stands: EEXIST when there is something.
int moveToNewPlace(const char* temporary, const char* path);

/// Brings the content of a file to the disk. 0, or -1 with errno.
int synchroniseFile(const char* path);

/// Gives the file `path` this content. A new file gets the permission bits `mode` less the umask;
/// one that is there keeps its mode and owner. Answers like moveIntoPlace().
int replaceFile(const char* path, std::string_view content, int mode);

}  // namespace utility
